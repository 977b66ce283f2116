// Splits the command line into options and says whether they call for an unattended run.
#include "CodePage.h"
#include "basAutomation.h"

namespace basAutomation {

namespace {

// Position of `character` after `position`, both counted from 1; 0 without one.
std::size_t NextAfter(const std::string& text, char character, std::size_t position) {
    return text.find(character, position) + 1; // npos is -1
}

// A quotation; both ends are 0 if there is none, only the last if it isn't closed.
struct Quotation {
    std::size_t first = 0, last = 0;
    bool Holds(std::size_t position) const { return position > first && position < last; }
};

Quotation NextQuotation(const std::string& text, std::size_t position, std::vector<std::string>& errors) {
    Quotation quotation;
    quotation.first = NextAfter(text, '"', position);
    if (quotation.first == 0)
        return quotation;
    quotation.last = NextAfter(text, '"', quotation.first);
    if (quotation.last == 0)
        errors.emplace_back("Command Line Error: Begin quotation with no matching end quotation!");
    return quotation;
}

// The "/" that starts the option after `position`, 0 without one. A "/" inside a quotation belongs to an argument.
std::size_t NextOption(const std::string& text, std::size_t position, std::vector<std::string>& errors) {
    std::size_t slash = NextAfter(text, '/', position);
    Quotation quotation = NextQuotation(text, position, errors);
    while (slash != 0 && quotation.Holds(slash)) {
        slash = NextAfter(text, '/', quotation.last);
        quotation = NextQuotation(text, quotation.last, errors);
    }
    return slash;
}

// Upper case doesn't change the length of a text, so `typed` is cut at the same places.
void SplitOptions(const std::string& text, const std::string& typed, ParsedCommandLine& parsed) {
    std::size_t position = 1;
    do {
        if (text[position - 1] != '/')
            parsed.Errors.push_back(fmt::format("ERROR: expected '/' in command line position {}", position));
        const std::size_t next = NextOption(text, position, parsed.Errors);
        const std::size_t end = next != 0 ? next - 1 : text.size();
        const auto option = [&](std::string_view line) {
            return platform::Trim(line.substr(position - 1, end - (position - 1)));
        };
        parsed.Options.push_back(option(text));
        parsed.TypedOptions.push_back(option(typed));
        position = next != 0 ? next : text.size();
    } while (position < text.size());
}

CommandLineOption Option(std::string name, std::string shortForm, std::string longForm, std::int16_t arguments,
                         bool isOperation, bool takesFile = false) {
    return {std::move(name), std::move(shortForm), {"", std::move(longForm)}, arguments, arguments, isOperation,
            takesFile};
}

bool IsOperation(const std::string& option) {
    if (option == "/A" || option == "/F")
        return true;
    const std::string command = platform::UpperCase(option.substr(0, 2));
    for (const CommandLineOption& row : globals.CommandLineOptionTable)
        if (row.IsOperation && command == "/" + row.ShortForm)
            return true;
    return false;
}

} // namespace

ParsedCommandLine SplitCommandLine(const std::string& text, const std::string& typed) {
    ParsedCommandLine parsed;
    const std::string trimmed = platform::Trim(text), asTyped = platform::Trim(typed);
    if (!trimmed.empty())
        SplitOptions(trimmed, asTyped.size() == trimmed.size() ? asTyped : trimmed, parsed);
    return parsed;
}

std::int32_t ParseCommandLine(std::string& text, const std::string& typed) {
    return platform::ResultOf(
        [&] {
            text = platform::Trim(text);
            ParsedCommandLine parsed = SplitCommandLine(text, typed);
            basApp::globals.CommandLineOptions = std::move(parsed.Options);
            basApp::globals.TypedOptions = std::move(parsed.TypedOptions);
            basApp::globals.CommandLineErrors.assign(1, {});
            for (std::size_t i = 1; i < parsed.Errors.size(); ++i)
                AddCommandLineError(parsed.Errors[i]);
            return 1;
        },
        [](const platform::Failure& failure) {
            StatusDisplay(LEVEL_ERROR, "ERROR #{}: {} in ParseCommandLine.", failure.Number, failure.Description);
        });
}

std::vector<CommandLineOption> OptionRows() {
    return {
        {},
        Option("DownloadImageAndCne", "D", "--download", 1, true, true),
        Option("DownloadBootloader", "B", "--download-bootloader", 1, true, true),
        Option("DownloadCne", "C", "--download-config", 1, true, true),
        Option("DownloadImage", "Q", "--download-image", 1, true, true),
        Option("Override", "O", "--override", 0, false),
        Option("SetGuid", "G", "--set-guid", 1, true),
        Option("SetGuid", "M", "--set-mac", 1, true),
        Option("ShowStatus", "S", "--show-status", 0, false),
        Option("GetSystemInformation", "I", "--information", 0, true),
        Option("ExecuteKeybatchOperation", "R", "--key-batch", 1, true, true),
        Option("MatchGuid", "X", "--match-guid", 1, false),
    };
}

std::int32_t InitializeCommandLineOptions() {
    globals.CommandLineOptionTable = OptionRows();
    return 1;
}

bool CommandLineHasOperations(const std::vector<std::string>& options) {
    for (std::size_t i = 1; i < options.size(); ++i)
        if (IsOperation(options[i]))
            return true;
    return false;
}

void AddCommandLineError(const std::string& message) {
    basApp::globals.CommandLineErrors.push_back(message);
    StatusDisplay(LEVEL_ERROR, "{}", message);
}

} // namespace basAutomation

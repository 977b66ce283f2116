// The text of the command line as a list of options, and what the options say about the run.
#include "CodePage.h"
#include "basAutomation.h"

namespace basAutomation {

namespace {

// Position of `character` behind `position`, both counted from 1; 0 when there is none.
std::size_t NextBehind(const std::string& text, char character, std::size_t position) {
    return text.find(character, position) + 1; // npos is -1
}

// A stretch in double quotes; both ends 0 when there is none, only the last for one without an end.
struct Quotation {
    std::size_t first = 0, last = 0;
    bool Holds(std::size_t position) const { return position > first && position < last; }
};

Quotation NextQuotation(const std::string& text, std::size_t position) {
    Quotation quotation;
    quotation.first = NextBehind(text, '"', position);
    if (quotation.first == 0)
        return quotation;
    quotation.last = NextBehind(text, '"', quotation.first);
    if (quotation.last == 0)
        AddCommandLineError("Command Line Error: Begin quotation with no matching end quotation!");
    return quotation;
}

// The "/" that starts the option behind `position`, 0 when there is none. One inside a quotation
// belongs to an argument.
std::size_t NextOption(const std::string& text, std::size_t position) {
    std::size_t slash = NextBehind(text, '/', position);
    Quotation quotation = NextQuotation(text, position);
    while (slash != 0 && quotation.Holds(slash)) {
        slash = NextBehind(text, '/', quotation.last);
        quotation = NextQuotation(text, quotation.last);
    }
    return slash;
}

// The options of `text`, and the same stretches of `typed`: capitals take as much room.
void SplitOptions(const std::string& text, const std::string& typed) {
    std::size_t position = 1;
    do {
        if (text[position - 1] != '/')
            AddCommandLineError(fmt::format("ERROR: expected '/' in command line position {}", position));
        const std::size_t next = NextOption(text, position);
        const std::size_t end = next != 0 ? next - 1 : text.size();
        const auto option = [&](std::string_view line) {
            return platform::Trim(line.substr(position - 1, end - (position - 1)));
        };
        basApp::globals.CommandLineOptions.push_back(option(text));
        basApp::globals.TypedOptions.push_back(option(typed));
        position = next != 0 ? next : text.size();
    } while (position < text.size());
}

CommandLineOption Option(std::string name, std::string shortForm, std::string longForm, std::int16_t arguments,
                         bool isOperation) {
    return {std::move(name), std::move(shortForm), {"", std::move(longForm)}, arguments, arguments, isOperation};
}

bool IsOperation(const std::string& option) {
    if (option == "/A" || option == "/F")
        return true;
    const std::string command = platform::UpperCase(option.substr(0, 2));
    for (const CommandLineOption& row : globals.CommandLineOptionTable) {
        if (row.IsOperation && command == "/" + row.ShortForm)
            return true;
    }
    return false;
}

} // namespace

std::int32_t ParseCommandLine(std::string& text, const std::string& typed) {
    std::int32_t result = -1;
    platform::Attempt(
        [&] {
            text = platform::Trim(text);
            basApp::globals.CommandLineOptions.assign(1, {});
            basApp::globals.TypedOptions.assign(1, {});
            basApp::globals.CommandLineErrors.assign(1, {});
            const std::string asTyped = platform::Trim(typed);
            if (!text.empty())
                SplitOptions(text, asTyped.size() == text.size() ? asTyped : text);
            result = 1;
        },
        [](const platform::Failure& failure) {
            StatusDisplay(LEVEL_ERROR, "ERROR #{}: {} in ParseCommandLine.", failure.Number, failure.Description);
        });
    return result;
}

std::int32_t InitializeCommandLineOptions() {
    globals.CommandLineOptionTable = {
        {},
        Option("DownloadImageAndCne", "D", "--download", 1, true),
        Option("DownloadBootloader", "B", "--download-bootloader", 1, true),
        Option("DownloadCne", "C", "--download-config", 1, true),
        Option("DownloadImage", "Q", "--download-image", 1, true),
        Option("Override", "O", "--override", 0, false),
        Option("SetGuid", "G", "--set-guid", 1, true),
        Option("SetGuid", "M", "--set-mac", 1, true),
        Option("ShowStatus", "S", "--show-status", 0, false),
        Option("GetSystemInformation", "I", "--information", 0, true),
        Option("ExecuteKeybatchOperation", "R", "--key-batch", 1, true),
        Option("MatchGuid", "X", "--match-guid", 1, false),
    };
    return 1;
}

bool CommandLineHasOperations(const std::vector<std::string>& options) {
    for (std::size_t i = 1; i < options.size(); ++i) {
        if (IsOperation(options[i]))
            return true;
    }
    return false;
}

void AddCommandLineError(const std::string& message) {
    basApp::globals.CommandLineErrors.push_back(message);
    StatusDisplay(LEVEL_ERROR, "{}", message);
}

} // namespace basAutomation

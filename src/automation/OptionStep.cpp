// What each option sets. Some commands must be the whole element; the others are its first two
// characters, followed by the argument.
#include "CodePage.h"
#include "basAutomation.h"

#include <algorithm>
#include <utility>

namespace basAutomation {

namespace {

constexpr const char* DTCP_IMAGE = "DTCP\\GUID\\MACID\\Config_Image.twd";
constexpr const char* DTCP_GUID = "DTCP\\GUID\\MACID\\GUID.txt";
constexpr const char* DTCP_MAC = "DTCP\\GUID\\MACID\\MACID.txt";

// Only logs: the settings of the option stay in force.
void RequireAlone(const std::string& command) {
    if (platform::UpperCase(platform::Trim(basApp::globals.CommandLine)) != command)
        StatusDisplay(LEVEL_ERROR, "The {} command cannot be used with other command-line options!", command);
}

void Override() {
    basApp::globals.OverrideHardwareCompatibility = true;
    StatusDisplay(LEVEL_USER, "Override Hardware Compatibility checking is enabled.");
}

void ShowStatus() {
    globals.ShowOutputOnExit = true;
    StatusDisplay(LEVEL_USER, "Automatically showing output file on exit.");
}

void ProgramAll() {
    globals.ImageFile = DTCP_IMAGE;
    globals.GuidFile = DTCP_GUID;
    globals.MacFile = DTCP_MAC;
    globals.ProgramGuidFromFileFlag = true;
    globals.ProgramMacFromFileFlag = true;
    RequireAlone("/A");
}

void ProgramFirmware() {
    globals.ImageFile = DTCP_IMAGE;
    RequireAlone("/F");
}

struct WholeCommand {
    const char* text;
    void (*apply)();
};
constexpr WholeCommand WHOLE_COMMANDS[] = {
    {"/O", Override}, {"/S", ShowStatus}, {"/A", ProgramAll}, {"/F", ProgramFirmware}};

std::string Without(std::string text, char character) {
    std::erase(text, character);
    return text;
}

std::string Argument(const std::string& option) {
    return Without(platform::Trim(option.size() > 2 ? option.substr(2) : ""), '"');
}

std::string ArgumentWithoutBlanks(const std::string& option) {
    return Without(Argument(option), ' ');
}

// A run that did nothing must not look like one that did its work.
void SkipOption(std::string reason) {
    StatusDisplay(LEVEL_ERROR, "{}", reason);
    globals.IdleOptions.push_back(std::move(reason));
}

void NotAvailable(const std::string& command) {
    SkipOption(fmt::format("The option {} has no operation in this version; nothing was done for it.", command));
}

// An empty value counts as not given.
template <class Text> Text Value(const std::string& command, Text value) {
    if (value.empty())
        SkipOption(fmt::format("The option {} has no value and is passed over.", command));
    return value;
}

// The argument of an option as a file: shown in upper case, opened as it was typed.
platform::FileName File(const std::string& option, const std::string& typed) {
    return {Argument(option), Argument(typed)};
}

void ApplyWithArgument(const std::string& command, const std::string& option, const std::string& typed,
                       std::string& matchGuid) {
    if (command == "/D") {
        globals.ImageFile = Value(command, File(option, typed));
    } else if (command == "/B") {
        globals.BootloaderFile = Value(command, File(option, typed));
    } else if (command == "/G") {
        globals.GuidText = Value(command, ArgumentWithoutBlanks(option));
    } else if (command == "/X") {
        matchGuid = Value(command, ArgumentWithoutBlanks(option));
    } else if (command == "/R") {
        globals.ExecuteKeyBatchFlag = true;
        globals.KeyBatchFile = File(option, typed);
    } else if (command == "/M") {
        globals.MacText = ArgumentWithoutBlanks(option);
        NotAvailable(command);
    } else if (command == "/C" || command == "/Q") {
        NotAvailable(command);
    }
}

void ApplyOption(const std::string& option, const std::string& typed, std::string& matchGuid) {
    const auto* whole = std::find_if(std::begin(WHOLE_COMMANDS), std::end(WHOLE_COMMANDS),
                                     [&](const WholeCommand& command) { return option == command.text; });
    if (whole != std::end(WHOLE_COMMANDS))
        whole->apply();
    else
        ApplyWithArgument(option.substr(0, 2), option, typed, matchGuid);
}

} // namespace

void ApplyOptions(const std::vector<std::string>& options, std::string& matchGuid) {
    const std::vector<std::string>& typed = basApp::globals.TypedOptions;
    const bool known = options == basApp::globals.CommandLineOptions && typed.size() == options.size();
    for (std::size_t i = 1; i < options.size(); ++i)
        ApplyOption(options[i], known ? typed[i] : options[i], matchGuid);
}

} // namespace basAutomation

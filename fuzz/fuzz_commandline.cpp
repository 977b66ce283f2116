// Any text as a command line: joined from arguments, parsed, checked for operations, applied.
#include "CodePage.h"
#include "StartUp.h"
#include "basAutomation.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

namespace {

// One argument a line.
std::vector<std::string> Arguments(const std::string& text) {
    std::vector<std::string> arguments(1);
    for (char character : text)
        if (character == '\n')
            arguments.emplace_back();
        else
            arguments.back() += character;
    return arguments;
}

void Process(const std::string& typed) {
    std::string line = platform::UpperCase(typed);
    std::ignore = basAutomation::ParseCommandLine(line, typed);
    std::ignore = basAutomation::CommandLineHasOperations(basApp::globals.CommandLineOptions);
    std::string matchGuid;
    basAutomation::ApplyOptions(basApp::globals.CommandLineOptions, matchGuid);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    basAutomation::InitializeCommandLineOptions();
    Process(text);
    Process(basApp::JoinArguments(Arguments(text)));
    return 0;
}

#include "Run.h"

#include "Commands.h"
#include "Failure.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace cli {

namespace {

// A command line that isn't understood may still ask for JSON.
bool AsksForJson(const std::vector<std::string>& arguments) {
    const auto end = std::ranges::find(arguments, "--");
    return std::find(arguments.begin(), end, "--json") != end;
}

// Help and version: an answer by themselves.
int Show(const CommandSet& commands, const CLI::Error& request, const Streams& streams) {
    std::ostringstream text, errors;
    commands.app.exit(request, text, errors);
    return streams.Out(text.str()) ? 0 : static_cast<int>(Verdict::Failed);
}

int Misunderstood(const std::vector<std::string>& arguments, const CommandSet& commands, const std::string& reason,
                  const Streams& streams) {
    CommonOptions options;
    options.AsJson = AsksForJson(arguments);
    options.JUnit = commands.JUnitFile();
    const std::string name = commands.ParsedName();
    Call call(options, streams, name);
    call.End(Verdict::Usage, fmt::format("{}{}  See \"hoistline {}--help\".", reason, reason.ends_with('?') ? "" : ".",
                                         name.empty() ? "" : name + " "));
    return call.Finish();
}

// As a sentence without its full stop.
std::string Sentence(std::string text) {
    std::ranges::replace(text, '\n', ' ');
    while (text.ends_with('.') || text.ends_with(' '))
        text.pop_back();
    return text;
}

} // namespace

int Run(const std::vector<std::string>& arguments, const Streams& streams) {
    const std::unique_ptr<CommandSet> commands = AllCommands();
    try {
        commands->app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::Success& request) { // --help, --version
        return Show(*commands, request, streams);
    } catch (const CLI::RequiredError& error) {
        const std::string fault = commands->CommandFault();
        return Misunderstood(arguments, *commands, fault.empty() ? Sentence(error.what()) : fault, streams);
    } catch (const CLI::ParseError& error) {
        return Misunderstood(arguments, *commands, Sentence(error.what()), streams);
    }
    const RunCommand* run = commands->Parsed();
    if (const char* noColor = std::getenv("NO_COLOR"); noColor != nullptr && *noColor != '\0')
        commands->options.NoColor = true;
    Call call(commands->options, streams, commands->ParsedName());
    if (call.CanWriteJUnit())
        platform::Attempt([&] { (*run)(call); },
                          [&](const platform::Failure& failure) { call.End(Verdict::Failed, failure.Description); });
    return call.Finish();
}

} // namespace cli

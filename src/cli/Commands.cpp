#include "Commands.h"

#include "BusChoice.h"
#include "CodePage.h"
#include "Description.h"
#include "DeviceChoice.h"
#include "Paths.h"
#include "WhichBus.h"
#include "basApp.h"

#include <algorithm>
#include <charconv>
#include <numeric>

namespace cli {

namespace {

constexpr const char* FOOTER =
    "Exit codes, each with its verdict:\n"
    "  0 done, 1 failed, 2 usage, 3 no-bus, 4 no-device, 5 ambiguous, 6 refused (nothing was written),\n"
    "  7 unchanged (it failed before the device was changed), 8 damaged (the device needs another load),\n"
    "  9 differs, 10 timed-out, 130 interrupted\n"
    "\"hoistline COMMAND --help\" tells more about a command.";
constexpr const char* COMMANDS_FOOTER = "Options of all commands, such as --json, and exit codes: hoistline --help";

// Of CLI11's help.
constexpr std::pair<const char*, const char*> LABELS[] = {
    {"REQUIRED", ""}, {"Positionals", "Arguments"}, {"SUBCOMMAND", "COMMAND"}};

std::string CallersPath(const std::string& path) {
    return path.empty() || path.front() == '/' ? path : platform::JoinPath(platform::CurrentDirectory(), path);
}

// Replaces what was typed.
CLI::Validator Turned(std::string (*turn)(const std::string& typed)) {
    return {[turn](std::string& text) {
                text = turn(text);
                return std::string();
            },
            ""};
}

std::string BusFault(const std::string& bus) {
    if (bas1394::ParseBus(bus))
        return {};
    return fmt::format("takes {}, not \"{}\"", bas1394::BUS_FORMS, bus);
}

std::string FileFault(const std::string& path) {
    return path.empty() ? "takes a file, not an empty name" : "";
}

std::string TimeoutFault(const std::string& typed) {
    double seconds = 0;
    const auto [end, error] = std::from_chars(typed.data(), typed.data() + typed.size(), seconds);
    const bool good = error == std::errc() && end == typed.data() + typed.size() && seconds >= 0.001 && seconds <= 1e6;
    return good ? "" : fmt::format("takes seconds from 0.001 to 1000000, not \"{}\"", typed);
}

void AddProgress(CLI::App& app, ProgressStyle& style) {
    static const std::map<std::string, ProgressStyle> STYLES = {
        {"auto", ProgressStyle::Auto}, {"json", ProgressStyle::Lines}, {"none", ProgressStyle::None}};
    const auto choose = [&style](const std::string& word) { style = STYLES.at(word); };
    TakesOneOf(app.add_option_function<std::string>(
                   "--progress", choose,
                   "how to show progress on standard error: auto redraws one line on a terminal and writes one for "
                   "each phase elsewhere; json writes lines of JSON"),
               {"auto", "json", "none"});
}

void AddCommonOptions(CLI::App& app, CommonOptions& options) {
    app.add_flag("--json", options.AsJson, "write one JSON document to standard output in place of text");
    app.add_flag("-q,--quiet", options.Quiet, "show neither progress nor messages, only a failure's reason");
    app.add_flag("-v,--verbose", options.Verbose,
                 "show messages on standard error: WARNING, WATCH, ERROR, USER and FATAL; -vv: also TRACE; -vvv: all");
    app.add_option("--timeout", options.Timeout, "end the call after this time")
        ->type_name("SECONDS")
        ->check(CLI::Validator(TimeoutFault, ""));
    app.add_flag("--no-color", options.NoColor, "use no colours, as with the environment variable NO_COLOR");
    AddFile(&app, "--junit", options.JUnit, "also write the verdict and the steps as JUnit XML");
    app.add_option(
           "--bus", options.Bus,
           "use this bus: simulated, or simulated:FILE for the one that a file describes; kernel, or kernel:CARD, "
           "for a real adapter; library:FILE for another access library; replay:FILE to repeat "
           "what a record holds. Without it, what the environment variable "
           "HOISTLINE_BUS or the setting Bus names; else simulated if simulated-bus.json lies beside the program, "
           "or kernel")
        ->type_name("BUS")
        ->check(CLI::Validator(BusFault, ""))
        ->transform(Turned(program::CallersBus));
    CLI::Option* record = AddFile(&app, "--record", options.Record,
                                  "record everything that happens on the bus into this file, which must not exist, for "
                                  "\"hoistline record\" and --bus replay:FILE");
    app.add_flag("--redact", options.Redacts,
                 "in that record replace images and keys by digests, and GUIDs by counters")
        ->needs(record);
    AddProgress(app, options.Progress);
}

std::string FooterOf(const CommandFacts& command) {
    std::string footer;
    for (const Example& example : command.Examples)
        footer += fmt::format("{}  {}\n      {}\n", footer.empty() ? "Examples:\n" : "", example.Line, example.Text);
    return (footer.empty() ? footer : footer + "\n") + (command.Path.empty() ? FOOTER : COMMANDS_FOOTER);
}

void AddFooters(CLI::App& app, const CommandFacts& facts) {
    app.footer(FooterOf(facts));
    for (const CommandFacts& command : facts.Commands)
        AddFooters(*app.get_subcommand(command.Name()), command);
}

} // namespace

CommandSet::CommandSet() : app("Find, load and program devices with a Tarnwell bootloader on an IEEE 1394 bus.") {
    app.name("hoistline");
    app.require_subcommand(1);
    app.set_help_flag("-h,--help", "show this help");
    app.set_version_flag("--version", "hoistline " + basApp::VersionText(), "show the version");
    for (const auto& [label, text] : LABELS)
        app.get_formatter()->label(label, text);
    AddCommonOptions(app, options);
}

CLI::App* CommandSet::Add(const std::string& name, const std::string& summary, RunCommand run, CLI::App* parent) {
    CLI::App* command = (parent == nullptr ? &app : parent)->add_subcommand(name, summary);
    command->group("Commands");
    command->fallthrough(); // the common options may come after the command
    runs_[command] = std::move(run);
    return command;
}

CLI::App* CommandSet::AddGroup(const std::string& name, const std::string& summary) {
    CLI::App* group = app.add_subcommand(name, summary);
    group->group("Commands");
    group->fallthrough();
    group->require_subcommand(1);
    return group;
}

std::vector<const CLI::App*> CommandSet::ParsedPath() const {
    std::vector<const CLI::App*> path;
    for (const CLI::App* command = &app; !command->get_subcommands().empty();)
        path.push_back(command = command->get_subcommands().front());
    return path;
}

const RunCommand* CommandSet::Parsed() const {
    const std::vector<const CLI::App*> path = ParsedPath();
    const auto run = path.empty() ? runs_.end() : runs_.find(path.back());
    return run == runs_.end() ? nullptr : &run->second;
}

std::string CommandSet::ParsedName() const {
    std::string name;
    for (const CLI::App* command : ParsedPath())
        name += (name.empty() ? "" : " ") + command->get_name();
    return name;
}

namespace {

// Insertions, removals and replacements that make one word of the other.
std::size_t Distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

// The command that may have been meant; empty without one.
std::string NearestTo(const std::string& typed, const CLI::App& parent) {
    std::string nearest;
    std::size_t shortest = 3; // farther away is another word
    for (const CLI::App* command :
         parent.get_subcommands([](const CLI::App* below) { return !below->get_group().empty(); })) {
        const std::string& name = command->get_name();
        const std::size_t distance = Distance(typed, name);
        if (distance < shortest && name.front() == typed.front()) {
            nearest = name;
            shortest = distance;
        }
    }
    return nearest;
}

} // namespace

std::string CommandSet::CommandFault() const {
    const std::vector<const CLI::App*> path = ParsedPath();
    const CLI::App& parent = path.empty() ? app : *path.back();
    if (parent.get_require_subcommand_min() == 0)
        return {};
    const std::vector<std::string> rest = app.remaining(true);
    if (rest.empty())
        return path.empty() ? "A command is required" : fmt::format("A command of \"{}\" is required", ParsedName());
    if (rest.front().starts_with('-'))
        return fmt::format("There is no option \"{}\"", rest.front());
    const std::string nearest = rest.front().empty() ? "" : NearestTo(rest.front(), parent);
    return fmt::format("There is no command \"{}{}{}\"{}", ParsedName(), path.empty() ? "" : " ", rest.front(),
                       nearest.empty() ? "" : "; did you mean " + nearest + "?");
}

std::string CommandSet::JUnitFile() const {
    const std::vector<std::string> files = app.get_option("--junit")->results();
    return files.size() == 1 && FileFault(files.front()).empty() ? CallersPath(files.front()) : "";
}

CLI::Option* AddFile(CLI::App* command, const std::string& name, std::string& path, const std::string& description) {
    return command->add_option(name, path, description)
        ->type_name("FILE")
        ->check(CLI::Validator(FileFault, ""))
        ->transform(Turned(CallersPath).name(FILE_VALIDATOR));
}

CLI::Option* TakesOneOf(CLI::Option* option, const std::vector<std::string>& words) {
    const auto take = [words](std::string& typed) {
        const auto isMeant = [&typed](const std::string& word) {
            return platform::UpperCase(word) == platform::UpperCase(typed);
        };
        const auto found = std::ranges::find_if(words, isMeant);
        if (found == words.end())
            return fmt::format("takes {}, not \"{}\"", fmt::join(words, ", "), typed);
        typed = *found;
        return std::string();
    };
    return option->type_name(fmt::format("{}", fmt::join(words, "|")))->transform(CLI::Validator(take, ""));
}

CLI::Option* AddResetFlag(CLI::App* command, bool& mayReset) {
    return command->add_flag("--reset", mayReset,
                             "reset a running application into the bootloader, and start it again afterwards");
}

CLI::Option* AddDevice(CLI::App* command, std::string& device) {
    return command
        ->add_option("DEVICE", device, "a GUID, or \"#2\" for node 2; not needed when exactly one device fits")
        ->type_name("")
        ->check(CLI::Validator(FaultOfName, ""));
}

std::unique_ptr<CommandSet> AllCommands() {
    auto set = std::make_unique<CommandSet>();
    AddList(*set);
    AddInfo(*set);
    AddLoad(*set);
    AddVerify(*set);
    AddCrc(*set);
    AddReset(*set);
    AddBusReset(*set);
    AddRom(*set);
    AddShell(*set);
    AddKey(*set);
    AddIdentity(*set);
    AddPackage(*set);
    AddLog(*set);
    AddSettings(*set);
    AddRecord(*set);
    AddDoctor(*set);
    AddCompletion(*set);
    AddFooters(set->app, Describe(*set));
    return set;
}

} // namespace cli

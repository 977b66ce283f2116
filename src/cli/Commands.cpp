#include "Commands.h"

#include "Description.h"
#include "DeviceChoice.h"
#include "Paths.h"
#include "basApp.h"

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

std::string CallersBus(const std::string& bus) {
    const std::size_t path = bus.find(':') + 1;
    return path == 0 ? bus : bus.substr(0, path) + CallersPath(bus.substr(path));
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
    if (bus == "simulated" || (bus.starts_with("simulated:") && bus.size() > 10))
        return {};
    return "use \"simulated\" or \"simulated:FILE\"";
}

void AddCommonOptions(CLI::App& app, CommonOptions& options) {
    app.add_flag("--json", options.AsJson, "one JSON document on standard output in place of text");
    app.add_flag("-q,--quiet", options.Quiet, "neither progress nor messages, only a failure's reason");
    app.add_flag("-v,--verbose", options.Verbose,
                 "messages on standard error: warnings and above; twice: each step; three times: each transaction");
    app.add_option("--timeout", options.Timeout, "limit for the whole call")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.001, 1e6).description(""));
    app.add_flag("--no-color", options.NoColor, "no colours; so does the environment variable NO_COLOR");
    AddFile(&app, "--junit", options.JUnit, "also write the verdict and the steps as JUnit XML");
    app.add_option("--bus", options.Bus, "simulated, or simulated:FILE for the bus that a file describes")
        ->type_name("BUS")
        ->check(CLI::Validator(BusFault, ""))
        ->transform(Turned(CallersBus));
    const std::map<std::string, ProgressStyle> styles = {
        {"auto", ProgressStyle::Auto}, {"json", ProgressStyle::Lines}, {"none", ProgressStyle::None}};
    app.add_option("--progress", options.Progress,
                   "progress on standard error: one line on a terminal and one for each phase elsewhere; lines of JSON")
        ->type_name("auto|json|none")
        ->transform(CLI::CheckedTransformer(styles).description(""));
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

CommandSet::CommandSet() : app("Finds, loads and programs devices with a Tarnwell bootloader on an IEEE 1394 bus.") {
    app.name("hoistline");
    app.require_subcommand(1);
    app.set_help_flag("-h,--help", "print this help and end");
    app.set_version_flag("--version", "hoistline " + basApp::VersionText(), "print the version and end");
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

CLI::Option* AddFile(CLI::App* command, const std::string& name, std::string& path, const std::string& description) {
    return command->add_option(name, path, description)
        ->type_name("FILE")
        ->transform(Turned(CallersPath).name(FILE_VALIDATOR));
}

CLI::Option* TakesOneOf(CLI::Option* option, const std::vector<std::string>& words) {
    return option->type_name(fmt::format("{}", fmt::join(words, "|")))
        ->transform(CLI::IsMember(words, CLI::ignore_case).description(""));
}

CLI::Option* AddDevice(CLI::App* command, std::string& device) {
    return command
        ->add_option("DEVICE", device, "its GUID, or \"#2\" for node 2; not needed when exactly one device fits")
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
    AddCompletion(*set);
    AddFooters(set->app, Describe(*set));
    return set;
}

} // namespace cli

// hoistline doctor: what keeps this machine from working with devices on a real bus, and the rule that lets users in.
#include "CallFiles.h"
#include "Checks.h"
#include "Commands.h"
#include "Failure.h"
#include "Files.h"
#include "Latency.h"
#include "Table.h"
#include "UdevRule.h"

#include <algorithm>

namespace cli {

namespace {

struct DoctorOptions {
    bool printRule = false, installRule = false, measure = false;
    std::string device;
};

Verdict VerdictOf(doctor::Harm harm) {
    switch (harm) {
    case doctor::Harm::Bus:
        return Verdict::NoBus;
    case doctor::Harm::Devices:
        return Verdict::NoDevice;
    case doctor::Harm::Transfers:
        break;
    }
    return Verdict::Failed;
}

Json ToJson(const doctor::Row& row) {
    return {{"name", row.Name},
            {"verdict", doctor::WordOf(row.Verdict)},
            {"found", row.Found},
            {"command", row.Command.empty() ? Json(nullptr) : Json(row.Command)}};
}

// By what is bad first, since that is the cause of the others.
void EndBy(Call& call, const std::vector<doctor::Row>& rows) {
    const auto bad = std::ranges::find(rows, doctor::Health::Bad, &doctor::Row::Verdict);
    if (bad != rows.end())
        call.End(VerdictOf(bad->IfBad), TextOf(*bad));
}

void Examine(Call& call) {
    const std::vector<doctor::Row> rows = doctor::Examine(doctor::ThisMachine());
    Json checks = Json::array();
    std::vector<TableRow> lines = {{"CHECK", "VERDICT", "FOUND, AND WHAT MENDS IT"}};
    for (const doctor::Row& row : rows) {
        checks.push_back(ToJson(row));
        lines.push_back({row.Name, doctor::WordOf(row.Verdict), Printable(TextOf(row))});
    }
    call.report.Answer = {{"checks", std::move(checks)}};
    for (const std::string& line : TableLines(lines))
        call.Print(line);
    call.showsVerdict = true;
    EndBy(call, rows);
}

Json RuleAnswer(const std::string& file, bool installed) {
    return {{"rule", {{"file", file}, {"text", doctor::RULE_TEXT}, {"installed", installed}}}};
}

void PrintRule(Call& call) {
    std::string text = doctor::RULE_TEXT;
    text.pop_back(); // Print ends it
    call.report.Answer = RuleAnswer(doctor::RULE_FILE, false);
    call.Print(text);
}

void InstallRule(Call& call) {
    const doctor::Machine machine = doctor::ThisMachine();
    const std::string folder = machine.Etc + "/udev/rules.d", file = folder + "/" + doctor::RULE_FILE;
    if (machine.User != 0) {
        call.End(Verdict::Refused,
                 fmt::format("Only root may install the rule.  Use: sudo {} doctor --install-rule", machine.Program));
        return;
    }
    const std::string text = doctor::RULE_TEXT;
    if (!platform::Attempt([&] { platform::MakeDirectories(folder); },
                           [&](const platform::Failure& failure) {
                               call.End(Verdict::Failed,
                                        fmt::format("\"{}\" can't be created: {}.", folder, failure.Description));
                           }) ||
        !WriteOutput(call, file, ByteArray(text.begin(), text.end())))
        return;
    call.report.Answer = RuleAnswer(file, true);
    call.Print(fmt::format("Installed {}.  Now run: {}", file, doctor::RELOAD_RULES));
}

void Doctor(Call& call, const DoctorOptions& options) {
    if (options.printRule)
        return PrintRule(call);
    if (options.measure)
        return MeasureLatency(call, options.device);
    options.installRule ? InstallRule(call) : Examine(call);
}

} // namespace

void AddDoctor(CommandSet& set) {
    auto options = std::make_shared<DoctorOptions>();
    CLI::App* command = set.Add("doctor", "find out what keeps this machine from using a real bus, and what mends it",
                                [options](Call& call) { Doctor(call, *options); });
    CLI::Option* print =
        command->add_flag("--print-rule", options->printRule, "print the udev rule that lets users in");
    CLI::Option* install =
        command->add_flag("--install-rule", options->installRule, "install that rule, as root")->excludes(print);
    CLI::Option* measure = command
                               ->add_flag("--measure", options->measure,
                                          "in place of the checks, tell how long 1000 reads of a node's ROM header "
                                          "take, and of the info registers of a device in its bootloader")
                               ->excludes(print)
                               ->excludes(install);
    AddDevice(command, options->device)
        ->needs(measure)
        ->description("the device to measure, by its GUID or as \"#2\"; without it each node that can be read");
}

} // namespace cli

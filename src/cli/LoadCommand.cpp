// hoistline load: a package into a device, in the order of an unattended run.
#include "BusSession.h"
#include "Commands.h"
#include "DeviceChoice.h"
#include "DeviceMode.h"
#include "EndRequest.h"
#include "PackagePlan.h"
#include "Table.h"
#include "basAutomation.h"
#include "basBootloader.h"

#include <algorithm>
#include <tuple>

namespace cli {

namespace {

using basApp::FlashState, basApp::OutcomeKind;

struct LoadOptions {
    PackageChoice package;
    std::string device;
    bool overrideHardware = false, noStart = false, dryRun = false;
};

std::int32_t Program(std::int32_t handle, const PackageChoice& choice, basApp::RunVerdict& run) {
    using basAutomation::PackageParts;
    if (!choice.as.empty())
        return basAutomation::ProgramImageFromFile(
            handle, choice.as == "debugger" ? basBootloader::IMAGE_DEBUGGER : basBootloader::IMAGE_BOOTLOADER,
            choice.file, run);
    const PackageParts parts = choice.only == "application" ? PackageParts::ApplicationOnly
                               : choice.only == "config"    ? PackageParts::ConfigOnly
                                                            : PackageParts::ApplicationAndConfig;
    return basAutomation::ProgramImageAndCneFromFile(handle, choice.file, run, parts);
}

// Over all images: a device that got only the first of them holds neither the old nor the new.
FlashState FlashOf(const basApp::RunVerdict& run, std::size_t images) {
    const auto identical = std::ranges::count(run.Steps, FlashState::Identical, &basApp::StepVerdict::Flash);
    const FlashState flash = run.Flash();
    return flash == FlashState::Identical && static_cast<std::size_t>(identical) < images ? FlashState::Damaged : flash;
}

// What a failure means for the device, since that is what its user has to know.
OutcomeKind OutcomeOf(const basApp::RunVerdict& run, FlashState flash) {
    if (run.Outcome == OutcomeKind::Done || run.Outcome == OutcomeKind::Interrupted)
        return run.Outcome;
    if (flash != FlashState::Unchanged)
        return OutcomeKind::Damaged;
    return run.Outcome == OutcomeKind::Refused ? OutcomeKind::Refused : OutcomeKind::Unchanged;
}

void TakeVerdict(Call& call, basApp::RunVerdict& run, std::size_t images) {
    run.Conclude();
    const FlashState flash = FlashOf(run, images);
    run.Outcome = OutcomeOf(run, flash);
    if (run.Outcome == OutcomeKind::Damaged)
        run.Reason += "  The device needs another load.";
    call.report.Take(run);
    call.report.Flash = flash;
}

std::string BytesText(const Step& step) {
    return *step.Bytes == *step.Length ? fmt::format("{}", *step.Bytes)
                                       : fmt::format("{} of {}", *step.Bytes, *step.Length);
}

TableRow RowOf(const Step& step) {
    const auto crc = [](const std::optional<std::uint32_t>& value) { return value ? CrcText(*value) : "-"; };
    return {step.Subject,
            BytesText(step),
            fmt::format("{:.1f}", step.Seconds.value_or(0)),
            fmt::format("{:.1f}", step.Rate().value_or(0)),
            crc(step.PackageCrc),
            crc(step.DeviceCrc),
            WordOf(step.Outcome)};
}

void PrintLoads(Call& call) {
    std::vector<TableRow> rows{{"IMAGE", "BYTES", "SECONDS", "kB/s", "CRC OF PACKAGE", "CRC OF DEVICE", "VERDICT"}};
    for (const Step& step : call.report.Steps)
        if (step.Length)
            rows.push_back(RowOf(step));
    if (rows.size() == 1)
        return;
    PrintTable(call, rows);
}

void DescribeLoad(Call& call, const PackagePlan& plan, bool resets, bool starts) {
    if (resets)
        call.Print("Would reset the device into its bootloader.");
    for (const PlannedImage& image : plan.images)
        call.Print(fmt::format("Would erase and load the {}: {} bytes, CRC {}.", NameOfImage(image.imageType),
                               image.section.Length, CrcText(Bits(image.section.Crc))));
    if (starts)
        call.Print("Would start the device's application.");
}

void LoadInto(Call& call, std::int32_t handle, const LoadOptions& options, const PackagePlan& plan, bool restart) {
    basApp::RunVerdict run;
    run.Result = Program(handle, options.package, run);
    TakeVerdict(call, run, plan.images.size());
    NoteDevice(call, handle);
    const bool unchanged = call.report.Flash == FlashState::Unchanged && !platform::EndRequested();
    if (restart && (unchanged || !call.Ended()))
        std::ignore = StartApplication(call, handle);
    PrintLoads(call);
    call.End(Verdict::Done);
}

void Load(Call& call, const LoadOptions& options) {
    call.showsVerdict = true;
    PackagePlan plan;
    if (!ReadPackage(call, options.package, plan))
        return;
    BusSession session(call);
    std::int32_t handle = 0;
    if (!session.OpenBus() || !ChooseTarget(call, options.device, handle))
        return;
    basApp::globals.OverrideHardwareCompatibility = options.overrideHardware;
    if (!FitsHardware(call, options.package, plan, handle))
        return;
    const basBootloader::DeviceLock lock(handle);
    if (!HasLock(call, lock))
        return;
    const bool resets = !RunsBootloader(*TargetOf(handle)), starts = resets && !options.noStart;
    call.report.Answer = ToJson(options.package, plan);
    call.report.Answer.update({{"dryRun", options.dryRun}, {"reset", resets}, {"start", starts}});
    if (options.dryRun)
        return DescribeLoad(call, plan, resets, starts);
    if (!resets || EnterBootloader(call, handle))
        LoadInto(call, handle, options, plan, starts);
}

} // namespace

void AddLoad(CommandSet& set) {
    auto options = std::make_shared<LoadOptions>();
    CLI::App* command =
        set.Add("load", "load a package into a device", [options](Call& call) { Load(call, *options); });
    AddPackageChoice(command, options->package);
    command->add_flag("--override-hardware", options->overrideHardware,
                      "load even a package for other hardware, which can make the device useless");
    command->add_flag("--override-crc", options->package.overrideCrc,
                      "load even a package whose CRC isn't CRC-32, for a device that uses another");
    command->add_flag("--no-start", options->noStart, "leave a device that ran its application in its bootloader");
    command->add_flag("--dry-run", options->dryRun, "only check, and say what would be done");
    AddDevice(command, options->device);
}

} // namespace cli

// hoistline crc and verify: what a device's bootloader tells of its images, by itself or beside a package.
#include "BusSession.h"
#include "Clock.h"
#include "Commands.h"
#include "DeviceChoice.h"
#include "DeviceMode.h"
#include "ImageCrcs.h"
#include "PackagePlan.h"
#include "Table.h"

namespace cli {

namespace {

struct CrcOptions {
    PackageChoice package; // of verify
    std::string device;
    bool reset = false;
};

std::string CrcOrDash(const ImageCrc& image) {
    return image.answered ? CrcText(image.crc) : "-";
}

// The verdict about one image; `expected`: of the package.
Step& NoteCrc(Call& call, std::int32_t handle, const char* operation, const ImageCrc& image,
              const std::optional<std::uint32_t>& expected, std::int64_t start) {
    const char* name = NameOfImage(image.imageType);
    Verdict outcome = Verdict::Done;
    std::string reason;
    if (!image.answered)
        outcome = Verdict::Unchanged, reason = fmt::format("The device doesn't tell the CRC of its {}.", name);
    else if (!image.good)
        outcome = Verdict::Differs, reason = fmt::format("The device says that its {} isn't good.", name);
    else if (expected && *expected != image.crc)
        outcome = Verdict::Differs, reason = fmt::format("The device holds another {} than the package.", name);
    Step& step = NoteStep(call, handle, operation, outcome, reason, start);
    step.Subject = name;
    step.PackageCrc = expected;
    if (image.answered)
        step.DeviceCrc = image.crc;
    return step;
}

// What differs is certain, whatever else isn't known.
void EndByCrcs(Call& call) {
    if (call.MustEnd())
        return;
    for (const Verdict verdict : {Verdict::Differs, Verdict::Unchanged})
        for (const Step& step : call.report.Steps)
            if (step.Outcome == verdict)
                call.End(verdict, step.Reason);
}

void ShowCrcs(Call& call, std::int32_t handle) {
    std::vector<TableRow> rows{{"IMAGE", "CRC", "VERDICT"}};
    Json images = Json::array();
    for (const ImageCrc& image : AskCrcs(call, handle)) {
        NoteCrc(call, handle, "crc", image, {}, 0);
        rows.push_back({NameOfImage(image.imageType), CrcOrDash(image), WordOf(image)});
        images.push_back(ToJson(image));
    }
    call.report.Answer = {{"images", images}};
    PrintTable(call, rows);
    EndByCrcs(call);
}

void Compare(Call& call, std::int32_t handle, const PackagePlan& plan) {
    std::vector<TableRow> rows{{"IMAGE", "CRC OF PACKAGE", "CRC OF DEVICE", "VERDICT"}};
    for (const PlannedImage& planned : plan.images) {
        if (call.MustEnd())
            break;
        const std::int64_t start = platform::QueryPerformanceCounter();
        const ImageCrc image = AskCrc(handle, planned.imageType);
        const std::uint32_t expected = Bits(planned.section.Crc);
        const Step& step = NoteCrc(call, handle, "verify", image, expected, start);
        const char* word = step.Outcome == Verdict::Done      ? "same"
                           : step.Outcome == Verdict::Differs ? "differs"
                                                              : "no answer";
        rows.push_back(
            {step.Subject, CrcText(expected), CrcOrDash(image), image.answered && !image.good ? "bad" : word});
    }
    PrintTable(call, rows);
    EndByCrcs(call);
}

void Crc(Call& call, const CrcOptions& options) {
    call.showsVerdict = true;
    BusSession session(call);
    std::int32_t handle = 0;
    if (session.OpenBus() && ChooseTarget(call, options.device, handle))
        InBootloader(call, handle, options.reset, [&] { ShowCrcs(call, handle); });
}

void Verify(Call& call, const CrcOptions& options) {
    call.showsVerdict = true;
    PackagePlan plan;
    if (!ReadPackage(call, options.package, plan))
        return;
    call.report.Answer = ToJson(options.package, plan);
    BusSession session(call);
    std::int32_t handle = 0;
    if (session.OpenBus() && ChooseTarget(call, options.device, handle))
        InBootloader(call, handle, options.reset, [&] { Compare(call, handle, plan); });
}

void AddDeviceAndReset(CLI::App* command, CrcOptions& options) {
    AddResetFlag(command, options.reset);
    AddDevice(command, options.device);
}

} // namespace

void AddCrc(CommandSet& set) {
    auto options = std::make_shared<CrcOptions>();
    CLI::App* command =
        set.Add("crc", "ask a device for the CRC of each image", [options](Call& call) { Crc(call, *options); });
    AddDeviceAndReset(command, *options);
}

void AddVerify(CommandSet& set) {
    auto options = std::make_shared<CrcOptions>();
    CLI::App* command = set.Add("verify", "compare a device with a package, by their CRCs",
                                [options](Call& call) { Verify(call, *options); });
    AddPackageChoice(command, options->package);
    options->package.overrideCrc = true; // nothing is written
    AddDeviceAndReset(command, *options);
}

} // namespace cli

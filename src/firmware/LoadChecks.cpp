// What a load checks before the target is touched.
#include "LoadParts.h"

#include "Dialogs.h"
#include "EndRequest.h"
#include "basApp.h"

#include <algorithm>

namespace basBootloader {

namespace {

constexpr std::size_t SMALLEST_PACKAGE = 97; // anything shorter wasn't loaded
constexpr const char* INCOMPATIBLE = "Incompatible Image";

// Once the program is to end, nothing is erased any more.
bool MayBegin(Load& load) {
    if (!platform::EndRequested())
        return true;
    load.verdict.Outcome = basApp::OutcomeKind::Interrupted;
    load.verdict.Reason =
        fmt::format("The load of the {} from '{}' was not begun, since the program is to end.  Nothing was erased "
                    "for it.",
                    load.name, load.file);
    Log(load, LEVEL_ERROR, load.verdict.Reason);
    return false;
}

bool ReadPackage(Load& load) {
    Advance(load, Step::Reading);
    load.style.load(load.file, load.package);
    if (load.package.FileData.size() >= SMALLEST_PACKAGE)
        return true;
    const std::string text = fmt::format("Load {} failed: could not load TWD file '{}'", load.name, load.file);
    Log(load, LEVEL_ERROR, text);
    return Fail(load, Stage::File, text);
}

std::string HardwareIdText(const Load& load) {
    const std::int32_t id = load.package.HardwareID;
    return load.style.hardwareIdInHex ? fmt::format("{} (0x{:X})", id, Bits(id)) : fmt::format("{}", id);
}

// The hardware of the package and of the target: the first two lines of both boxes.
std::string HardwareLines(const Load& load, std::int32_t model) {
    return fmt::format("The selected TWD file indicates hardware compatibility with Model ID {}.  \r\n"
                       "The selected hardware indicates a Model ID of {}.  \r\n",
                       HardwareIdText(load), model);
}

bool UserInsists(const Load& load, std::int32_t model) {
    return platform::CurrentDialogs().YesNo(HardwareLines(load, model) +
                                                "The application is configured to ignore this compatibility test.\r\n"
                                                "Are you sure you want to continue?",
                                            INCOMPATIBLE);
}

void RefuseHardware(const Load& load, std::int32_t model) {
    platform::CurrentDialogs().MessageBox(
        HardwareLines(load, model) +
            "This TWD file is not intended for this hardware platform.  However, you can over-ride this check by "
            "clicking the \"Preferences\" button and checking the \"Override Hardware Compatibility\" checkbox.\r\n"
            "DANGER: USE THE \"Override Hardware Compatibility\" OPTION ONLY IF YOU'RE ABSOLUTELY CERTAIN THAT YOU "
            "KNOW WHAT YOU'RE DOING.  YOU COULD RENDER YOUR HARDWARE USELESS.",
        INCOMPATIBLE);
}

bool Abort(Load& load, std::int32_t model) {
    Tell(load, LEVEL_ERROR, "Operation aborted due to hardware incompatibility");
    const std::string ids = HardwareMismatch(load.package.HardwareID, model);
    if (load.style.bothIdsOnAbort)
        Log(load, LEVEL_ERROR, ids);
    return Fail(load, Stage::Hardware, ids);
}

bool HardwareFits(Load& load) {
    const BootloaderTarget* target = TargetOf(load.handle);
    if (!target || target->Info.HardwareModelID == load.package.HardwareID)
        return true;
    const std::int32_t model = target->Info.HardwareModelID;
    const bool dialogs = load.style.dialogsWhenUnattended || !basApp::globals.PerformUnattendedOperations;
    if (basApp::globals.OverrideHardwareCompatibility) {
        if (!dialogs || UserInsists(load, model))
            return true;
    } else if (dialogs) {
        RefuseHardware(load, model);
    }
    return Abort(load, model);
}

bool PickSection(Load& load) {
    const bool config = load.imageType == IMAGE_CONFIG;
    load.section = config ? load.package.Cne : load.package.Image1;
    if (config)
        load.section.Address = load.style.cneAddress;
    load.verdict.Length = std::max(load.section.Length, 0);
    load.verdict.PackageCrc = Bits(load.section.Crc);
    if (load.section.Length >= 1)
        return true;
    const std::string text = config ? fmt::format("DownloadImage (CNE): '{}' contains no CNE.  Exiting...", load.file)
                                    : fmt::format("DownloadImage: '{}' contains no image.  Exiting...", load.file);
    Tell(load, LEVEL_USER, text);
    return Fail(load, Stage::NoSection, text);
}

// A package with a section outside its file is reported by the first block that would be missing, and
// leaves the target as it is. FileData has one element more than the file has bytes.
bool SectionsAreWhole(Load& load) {
    const auto fileLength = static_cast<std::int64_t>(load.package.FileData.size()) - 1;
    const NamedSection* outside = FirstOutside(load.package, fileLength);
    if (!outside)
        return true;
    const TwdSection& section = load.package.*outside->section;
    const std::int64_t inside = section.Offset < 0 ? 0 : std::max<std::int64_t>(fileLength - section.Offset, 0);
    const std::int64_t block = inside / MAX_BLOCK_SIZE * MAX_BLOCK_SIZE;
    const std::string text =
        TellCopyFailure(load, std::min<std::int64_t>(section.Length - block, MAX_BLOCK_SIZE), section.Offset + block);
    TellFailure(load);
    return Fail(load, Stage::Outside, text);
}

} // namespace

std::string HardwareMismatch(std::int32_t packageModel, std::int32_t targetModel) {
    return fmt::format("Operation aborted due to hardware incompatibility: TWD Hardware ID = {} (0x{:X})  Target "
                       "Hardware ID = {}(0x{:X})",
                       packageModel, Bits(packageModel), targetModel, Bits(targetModel));
}

bool IsReady(Load& load) {
    return MayBegin(load) && ReadPackage(load) && HardwareFits(load) && PickSection(load) && SectionsAreWhole(load);
}

} // namespace basBootloader

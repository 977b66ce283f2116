#include "ImageDownload.h"

#include "Dialogs.h"
#include "EndRequest.h"
#include "Failure.h"
#include "WindowSystem.h"
#include "basUtils.h"

#include <algorithm>

namespace basBootloader {

DownloadHooks downloadHooks;
LoadUnderWay loadUnderWay;

namespace {

constexpr std::int32_t MaxRetries = 3;
constexpr std::int32_t MAX_BLOCK_SIZE = 1024;
constexpr std::int32_t START_TIMEOUT = 40000, END_TIMEOUT = 70000; // ms: an erase, a final check
constexpr std::int32_t FLASH_WRITE_FAILED = -3;                    // a target's status
constexpr std::size_t SMALLEST_PACKAGE = 97;                       // what isn't even this wasn't loaded
constexpr std::int32_t UNATTENDED_CNE_ADDRESS = 0x201A0000;
constexpr const char* INCOMPATIBLE = "Incompatible Image";

using Step = DownloadProgress::Step;
using Stage = DownloadFailure::Stage;

std::uint32_t Bits(std::int64_t value) {
    return static_cast<std::uint32_t>(value);
}

const char* ImageName(std::int32_t imageType) {
    switch (imageType) {
    case IMAGE_APPLICATION:
        return "Application Image";
    case IMAGE_CONFIG:
        return "Config Data";
    case IMAGE_DEBUGGER:
        return "Debugger Image";
    case IMAGE_BOOTLOADER:
        return "Bootloader Image";
    default:
        return nullptr;
    }
}

auto ReportResumingNext(const DownloadStyle& style) {
    return [&style](const platform::Failure& failure) {
        if (style.log)
            style.log(fmt::format("ERROR #{}: {} in frmSelectFirmware.DownloadImage.  Resuming next...", failure.Number,
                                  failure.Description),
                      LEVEL_WARNING);
    };
}

// One load under way.
struct Load {
    std::int32_t handle;
    std::int32_t imageType;
    const platform::FileName& file;
    const DownloadStyle& style;
    const char* name; // of the image
    TwdHeader package;
    TwdSection section;    // with the address that the image gets on the target
    std::int64_t sent = 0; // bytes that went through
    std::int64_t startCount = 0;
};

void Log(const Load& load, std::int32_t level, const std::string& text) {
    if (load.style.log)
        load.style.log(text, level);
}

void Show(const Load& load, const std::string& text) {
    if (load.style.show)
        load.style.show(text);
}

void Tell(const Load& load, std::int32_t level, const std::string& text) {
    Show(load, text);
    Log(load, level, text);
}

void Advance(const Load& load, Step step, std::int32_t tries = 0) {
    loadUnderWay = {step > Step::Reading && step < Step::Done ? load.name : nullptr, load.sent, load.section.Length};
    if (load.style.progress)
        load.style.progress({step, load.sent, load.section.Length, tries});
}

// False, for the caller to return.
bool Fail(const Load& load, Stage stage, std::int32_t code = FAILED) {
    if (load.style.failed)
        load.style.failed({stage, code, load.sent});
    return false;
}

// --- Before the target is touched ---

// Once the program is to end, nothing is erased any more.
bool MayBegin(const Load& load) {
    if (!platform::EndRequested())
        return true;
    Log(load, LEVEL_ERROR,
        fmt::format("The load of the {} from '{}' was not begun, since the program is to end.  Nothing was erased "
                    "for it.",
                    load.name, load.file));
    return false;
}

bool ReadPackage(Load& load) {
    Advance(load, Step::Reading);
    load.style.load(load.file, load.package);
    if (load.package.FileData.size() >= SMALLEST_PACKAGE)
        return true;
    Log(load, LEVEL_ERROR, fmt::format("Load {} failed: could not load TWD file '{}'", load.name, load.file));
    return Fail(load, Stage::File);
}

std::string HardwareIdText(const Load& load) {
    const std::int32_t id = load.package.HardwareID;
    return load.style.hardwareIdInHex ? fmt::format("{} (0x{:X})", id, Bits(id)) : fmt::format("{}", id);
}

// Which hardware the package and the target speak of: the first two lines of both boxes.
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

void TellAbort(const Load& load, std::int32_t model) {
    Tell(load, LEVEL_ERROR, "Operation aborted due to hardware incompatibility");
    if (load.style.bothIdsOnAbort)
        Log(load, LEVEL_ERROR,
            fmt::format("Operation aborted due to hardware incompatibility: TWD Hardware ID = {} (0x{:X})  Target "
                        "Hardware ID = {}(0x{:X})",
                        load.package.HardwareID, Bits(load.package.HardwareID), model, Bits(model)));
}

bool HardwareFits(const Load& load) {
    const std::int32_t index = GetDeviceIndex(load.handle);
    if (index < 0)
        return true;
    const std::int32_t model = globals.TargetList[static_cast<std::size_t>(index)].Info.HardwareModelID;
    if (model == load.package.HardwareID)
        return true;
    const bool dialogs = load.style.dialogsWhenUnattended || !basApp::globals.PerformUnattendedOperations;
    if (basApp::globals.OverrideHardwareCompatibility) {
        if (!dialogs || UserInsists(load, model))
            return true;
    } else if (dialogs) {
        RefuseHardware(load, model);
    }
    TellAbort(load, model);
    return Fail(load, Stage::Hardware);
}

bool PickSection(Load& load) {
    const bool config = load.imageType == IMAGE_CONFIG;
    load.section = config ? load.package.Cne : load.package.Image1;
    if (config)
        load.section.Address = load.style.cneAddress;
    if (load.section.Length >= 1)
        return true;
    Tell(load, LEVEL_USER,
         config ? fmt::format("DownloadImage (CNE): '{}' contains no CNE.  Exiting...", load.file)
                : fmt::format("DownloadImage: '{}' contains no image.  Exiting...", load.file));
    return Fail(load, Stage::NoSection);
}

void TellCopyFailure(const Load& load, std::int64_t size, std::int64_t fileOffset) {
    Log(load, LEVEL_ERROR,
        fmt::format("Failed to copy 0x{:X} byte block at address 0x{:X} in file '{}' in Load Image function.", size,
                    Bits(fileOffset), load.file));
}

void TellFailure(const Load& load) {
    Tell(load, load.style.failureLevel, fmt::format("Load new {} operation failed.", load.name));
}

// A package with a section outside its file is reported by the first block that would be missing, and
// leaves the target as it is. FileData has one element more than the file has bytes.
bool SectionsAreWhole(const Load& load) {
    const auto fileLength = static_cast<std::int64_t>(load.package.FileData.size()) - 1;
    const NamedSection* outside = FirstOutside(load.package, fileLength);
    if (!outside)
        return true;
    const TwdSection& section = load.package.*outside->section;
    const std::int64_t inside = section.Offset < 0 ? 0 : std::max<std::int64_t>(fileLength - section.Offset, 0);
    const std::int64_t block = inside / MAX_BLOCK_SIZE * MAX_BLOCK_SIZE;
    TellCopyFailure(load, std::min<std::int64_t>(section.Length - block, MAX_BLOCK_SIZE), section.Offset + block);
    TellFailure(load);
    return Fail(load, Stage::Outside);
}

void TellBeginning(const Load& load) {
    if (load.imageType == IMAGE_CONFIG) {
        Tell(load, LEVEL_USER, fmt::format("Loading new {}(CNE) from '{}' onto target...", load.name, load.file));
        return;
    }
    Tell(load, LEVEL_USER,
         fmt::format("Loading new {}(Image1) from '{}' onto target.  First erasing flash...", load.name, load.file));
    platform::DoEvents();
}

// --- On the target ---

// False, told, when the target didn't take the announcement.
bool Announce(const Load& load, std::int32_t& maxBlockSize) {
    const TwdHeader& package = load.package;
    const DownloadAnnouncement announcement{load.imageType,      package.ImageDate,       package.ImageTime,
                                            package.SoftwareID,  package.SoftwareVersion, load.section.Address,
                                            load.section.Length, load.section.Crc};
    Advance(load, Step::Erasing);
    CommandProgress progress = load.style.startProgress ? *load.style.startProgress : CommandProgress{};
    progress.abandoned = platform::EndRequested;
    maxBlockSize = 1; // stays when the target answers nothing
    const std::int32_t result = DownloadStart(load.handle, announcement, maxBlockSize, START_TIMEOUT, &progress);
    if (result != SUCCESS) {
        Tell(load, load.style.startFailureLevel,
             fmt::format("cmdLoadSelected failed: DownloadStart command failed, code {}", result));
        return maxBlockSize < 1 ? Fail(load, Stage::Refusal, maxBlockSize) : Fail(load, Stage::Announcement, result);
    }
    if (maxBlockSize < 1) {
        Tell(load, load.style.blockSizeFailureLevel,
             fmt::format("Load {} failed: Download start returned invalid block size: {}", load.name, maxBlockSize));
        return Fail(load, Stage::Refusal, maxBlockSize);
    }
    maxBlockSize = std::min(maxBlockSize, MAX_BLOCK_SIZE);
    return true;
}

bool CopyBlock(const Load& load, std::int32_t size, ByteArray& block) {
    const std::int64_t fileOffset = load.section.Offset + load.sent;
    block.resize(static_cast<std::size_t>(size));
    if (basUtils::CopyByteArray(load.package.FileData, fileOffset, size, block, 0) == 1)
        return true;
    TellCopyFailure(load, size, fileOffset);
    return false;
}

std::int32_t BlockAddress(const Load& load) {
    return static_cast<std::int32_t>(Bits(load.section.Address + load.sent));
}

void TellBlockFailure(const Load& load, std::int32_t result) {
    const char* reason = result == FLASH_WRITE_FAILED ? load.style.flashFailure : load.style.blockFailure;
    Tell(load, load.style.blockFailureLevel,
         fmt::format("{}  basBootloader.DownloadBlock returned code {} for block at address 0x{:X}.",
                     fmt::format(fmt::runtime(reason), fmt::arg("file", load.file)), result, Bits(BlockAddress(load))));
}

void TellGivingUp(const Load& load, std::int32_t result) {
    if (load.style.tellGivingUp)
        Log(load, LEVEL_ERROR,
            fmt::format("DownloadImage ERROR: Failed to load '{}' onto target.  basBootloader.DownloadBlock returned "
                        "code {} after {} retries.  Aborting operation.",
                        load.file, result, MaxRetries));
}

// 1 when every block went through, else how the last one failed. Between two blocks the load can be ended.
std::int32_t SendBlocks(Load& load, std::int32_t maxBlockSize) {
    ByteArray block;
    std::int32_t blockNumber = 0, retries = 0;
    while (load.sent < load.section.Length) {
        if (platform::EndRequested())
            return FAILED;
        const auto size =
            static_cast<std::int32_t>(std::min<std::int64_t>(load.section.Length - load.sent, maxBlockSize));
        if (!CopyBlock(load, size, block)) {
            Fail(load, Stage::Outside);
            return FAILED;
        }
        const std::int32_t result = DownloadBlock(load.handle, blockNumber, BlockAddress(load), size, block);
        if (result == SUCCESS) {
            retries = 0;
            ++blockNumber;
            load.sent += size;
            Advance(load, Step::Loading);
        } else {
            TellBlockFailure(load, result);
            if (++retries == MaxRetries) {
                TellGivingUp(load, result);
                Fail(load, Stage::Block, result);
                return result;
            }
            Advance(load, Step::Loading, retries);
        }
        if (load.style.turnsBetweenBlocks)
            platform::DoEvents();
    }
    return SUCCESS;
}

// The target's verdict. Only the target judges the CRC.
std::int32_t CloseLoad(const Load& load) {
    Advance(load, Step::Checking);
    std::int32_t crc = 0, crcValidity = 0;
    const std::int32_t result = DownloadEnd(load.handle, crc, crcValidity, END_TIMEOUT, load.style.endProgress);
    if (result != SUCCESS) {
        const std::string text = fmt::format("Download end command failed while loading '{}' onto target.", load.file);
        Show(load, text);
        if (load.style.logEndFailure)
            Log(load, LEVEL_ERROR, text);
        Fail(load, Stage::End, result);
        return result;
    }
    if (crcValidity != 0) {
        Log(load, LEVEL_ERROR,
            fmt::format("CRC failure in Image Load process (CRC=0x{:X}, CRCvalidity=0x{:X}.", Bits(crc),
                        Bits(crcValidity)));
        Fail(load, Stage::Crc, crcValidity);
        return FAILED;
    }
    return SUCCESS;
}

void TellSuccess(const Load& load) {
    const float elapsed = std::max(basApp::ElapsedMilliseconds(load.startCount), 1.0F);
    Tell(load, LEVEL_USER,
         fmt::format("Successfully loaded new {} '{}' onto target at {:.2f} kB/sec.", load.name, load.file,
                     static_cast<double>(load.section.Length) / static_cast<double>(elapsed)));
}

// What a device is left with whose load didn't come to its end.
std::string StateText(const LoadUnderWay& load) {
    return fmt::format(
        "The load of the {} was ended early.  The device was told to erase what it held before and got {} of {} "
        "bytes: it stays in its bootloader, and the package has to be loaded again.",
        load.image, load.sent, load.length);
}

void TellEarlyEnd(const Load& load) {
    if (platform::EndRequested() && load.sent < load.section.Length)
        Log(load, LEVEL_ERROR, StateText({load.name, load.sent, load.section.Length}));
}

// Everything from the erase on. A failure of one step leaves it failed and the next one runs, so
// that the target is told of the end whatever happened to its blocks.
std::int32_t LoadSection(Load& load) {
    platform::ResumeNext next{ReportResumingNext(load.style)};
    std::int32_t maxBlockSize = 0;
    bool announced = false;
    next([&] { announced = Announce(load, maxBlockSize); });
    if (!announced) {
        next([&] { TellEarlyEnd(load); });
        return FAILED;
    }
    std::int32_t blocks = FAILED, end = FAILED;
    next([&] { blocks = SendBlocks(load, maxBlockSize); });
    next([&] { end = CloseLoad(load); });
    if (blocks == SUCCESS && end == SUCCESS) {
        next([&] { TellSuccess(load); });
        return SUCCESS;
    }
    next([&] { TellFailure(load); });
    next([&] { TellEarlyEnd(load); });
    return FAILED;
}

DownloadStyle UnattendedStyle() {
    DownloadStyle style;
    style.cneAddress = UNATTENDED_CNE_ADDRESS;
    style.clockFromEntry = true;
    style.bothIdsOnAbort = true;
    style.tellGivingUp = true;
    style.logEndFailure = true;
    style.turnsBetweenBlocks = true;
    style.failureLevel = LEVEL_USER;
    style.blockFailureLevel = LEVEL_WARNING;
    style.blockFailure = "DownloadImage Warning: Error loading '{file}'.";
    style.flashFailure = "DownloadImage Warning: Failed to write data to flash on target.";
    style.log = [](const std::string& text, std::int32_t level) { StatusDisplay(level, "{}", text); };
    style.progress = downloadHooks.progress;
    return style;
}

} // namespace

std::int32_t DownloadImageInStyle(std::int32_t handle, std::int32_t imageType, const platform::FileName& file,
                                  const DownloadStyle& style) {
    platform::ResumeNext next{ReportResumingNext(style)};
    Load load{handle, imageType, file, style, ImageName(imageType), {}, {}};
    load.startCount = platform::QueryPerformanceCounter();
    if (!load.name) {
        Log(load, LEVEL_ERROR, fmt::format("DownloadImage Error: unknown ImageType '{}'", imageType));
        return FAILED;
    }
    bool ready = false;
    next([&] {
        ready =
            MayBegin(load) && ReadPackage(load) && HardwareFits(load) && PickSection(load) && SectionsAreWhole(load);
    });
    if (!ready)
        return FAILED;
    next([&] { TellBeginning(load); });
    if (!style.clockFromEntry)
        load.startCount = platform::QueryPerformanceCounter();
    basApp::globals.DownloadInProgress = true;
    const std::int32_t result = LoadSection(load);
    basApp::globals.DownloadInProgress = false;
    next([&] { Advance(load, Step::Done); });
    return result;
}

void TellBrokenLoad() {
    if (loadUnderWay.image)
        StatusDisplay(LEVEL_ERROR, "{}", StateText(loadUnderWay));
}

std::int32_t DownloadImage(std::int32_t handle, std::int32_t imageType, const platform::FileName& file) {
    return DownloadImageInStyle(handle, imageType, file, UnattendedStyle());
}

} // namespace basBootloader

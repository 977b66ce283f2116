#include "LoadParts.h"

#include "EndRequest.h"
#include "WindowSystem.h"
#include "basUtils.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace basBootloader {

namespace {

constexpr std::int32_t MaxRetries = 3;
constexpr std::int32_t START_TIMEOUT = 40000, END_TIMEOUT = 70000; // ms: an erase, a final check
constexpr std::int32_t FLASH_WRITE_FAILED = -3;                    // a target's status
constexpr std::int32_t UNATTENDED_CNE_ADDRESS = 0x201A0000;

using basApp::FlashState;
using basApp::OutcomeKind;

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

auto LogFailure(Load& load) {
    return [&load](const platform::Failure& failure) {
        if (load.verdict.Reason.empty())
            load.verdict.Reason = failure.Description;
        Log(load, LEVEL_WARNING,
            fmt::format("ERROR #{}: {} in frmSelectFirmware.DownloadImage.  Resuming next...", failure.Number,
                        failure.Description));
    };
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

// For a caller without a bar of its own, which learns at each poll that the step still goes on.
std::function<void(std::int32_t)> Repeat(const Load& load, Step step) {
    return [&load, step](std::int32_t /*value*/) { Advance(load, step); };
}

// What a failed announcement means for the flash: a request that was taken starts the erase; one whose write failed
// may have been taken even so; one that was answered without a block size may be refused.
CommandProgress WatchAnnouncement(Load& load) {
    CommandProgress progress = load.style.startProgress ? *load.style.startProgress : CommandProgress{};
    progress.abandoned = platform::EndRequested;
    progress.sent = [&load](std::int32_t result) {
        load.verdict.Flash = result == SUCCESS ? FlashState::Damaged : FlashState::Unknown;
    };
    if (!progress.value)
        progress.value = Repeat(load, Step::Erasing);
    return progress;
}

bool TellRefusal(Load& load, std::int32_t level, const std::string& text, std::int32_t blockSize) {
    load.verdict.Flash = FlashState::Unknown;
    Tell(load, level, text);
    return Fail(load, Stage::Refusal, text, blockSize);
}

// False, with its message, when the target didn't take the announcement.
bool Announce(Load& load, std::int32_t& maxBlockSize) {
    const TwdHeader& package = load.package;
    const DownloadAnnouncement announcement{load.imageType,      package.ImageDate,       package.ImageTime,
                                            package.SoftwareID,  package.SoftwareVersion, load.section.Address,
                                            load.section.Length, load.section.Crc};
    Advance(load, Step::Erasing);
    const CommandProgress progress = WatchAnnouncement(load);
    maxBlockSize = 1; // stays when the target answers nothing
    const std::int32_t result = DownloadStart(load.handle, announcement, maxBlockSize, START_TIMEOUT, &progress);
    if (result != SUCCESS) {
        const std::string text = fmt::format("cmdLoadSelected failed: DownloadStart command failed, code {}", result);
        if (maxBlockSize < 1)
            return TellRefusal(load, load.style.startFailureLevel, text, maxBlockSize);
        Tell(load, load.style.startFailureLevel, text);
        return Fail(load, Stage::Announcement, text, result);
    }
    if (maxBlockSize < 1) {
        return TellRefusal(
            load, load.style.blockSizeFailureLevel,
            fmt::format("Load {} failed: Download start returned invalid block size: {}", load.name, maxBlockSize),
            maxBlockSize);
    }
    maxBlockSize = std::min(maxBlockSize, MAX_BLOCK_SIZE);
    return true;
}

bool CopyBlock(Load& load, std::int32_t size, ByteArray& block) {
    const std::int64_t fileOffset = load.section.Offset + load.sent;
    block.resize(static_cast<std::size_t>(size));
    if (basUtils::CopyByteArray(load.package.FileData, fileOffset, size, block, 0) == 1)
        return true;
    return Fail(load, Stage::Outside, TellCopyFailure(load, size, fileOffset));
}

std::int32_t BlockAddress(const Load& load) {
    return static_cast<std::int32_t>(Bits(load.section.Address + load.sent));
}

std::string TellBlockFailure(const Load& load, std::int32_t result) {
    const char* reason = result == FLASH_WRITE_FAILED ? load.style.flashFailure : load.style.blockFailure;
    std::string text =
        fmt::format("{}  basBootloader.DownloadBlock returned code {} for block at address 0x{:X}.",
                    fmt::format(fmt::runtime(reason), fmt::arg("file", load.file)), result, Bits(BlockAddress(load)));
    Tell(load, load.style.blockFailureLevel, text);
    return text;
}

void TellGivingUp(const Load& load, std::int32_t result) {
    if (load.style.tellGivingUp)
        Log(load, LEVEL_ERROR,
            fmt::format("DownloadImage ERROR: Failed to load '{}' onto target.  basBootloader.DownloadBlock returned "
                        "code {} after {} retries.  Aborting operation.",
                        load.file, result, MaxRetries));
}

// False once the block has failed so often that the load is given up.
bool MayRetry(Load& load, std::int32_t result, std::int32_t retries) {
    const std::string text = TellBlockFailure(load, result);
    if (retries == MaxRetries) {
        TellGivingUp(load, result);
        return Fail(load, Stage::Block, text, result);
    }
    Advance(load, Step::Loading, retries);
    return true;
}

// 1 when the target took every block, else how the last one failed. Between two blocks the load can be ended.
std::int32_t SendBlocks(Load& load, std::int32_t maxBlockSize) {
    ByteArray block;
    std::int32_t blockNumber = 0, retries = 0;
    while (load.sent < load.section.Length) {
        if (platform::EndRequested())
            return FAILED;
        const auto size =
            static_cast<std::int32_t>(std::min<std::int64_t>(load.section.Length - load.sent, maxBlockSize));
        if (!CopyBlock(load, size, block))
            return FAILED;
        const std::int32_t result = DownloadBlock(load.handle, blockNumber, BlockAddress(load), size, block);
        if (result == SUCCESS) {
            retries = 0;
            ++blockNumber;
            load.sent += size;
            Advance(load, Step::Loading);
        } else if (!MayRetry(load, result, ++retries)) {
            return result;
        }
        if (load.style.turnsBetweenBlocks)
            platform::DoEvents();
    }
    return SUCCESS;
}

// Only the target judges the CRC.
std::int32_t CloseLoad(Load& load) {
    Advance(load, Step::Checking);
    std::int32_t crc = 0, crcValidity = 0;
    CommandProgress progress = load.style.endProgress ? *load.style.endProgress : CommandProgress{};
    if (!progress.value)
        progress.value = Repeat(load, Step::Checking);
    const std::int32_t result = DownloadEnd(load.handle, crc, crcValidity, END_TIMEOUT, &progress);
    if (result != SUCCESS) {
        const std::string text = fmt::format("Download end command failed while loading '{}' onto target.", load.file);
        Show(load, text);
        if (load.style.logEndFailure)
            Log(load, LEVEL_ERROR, text);
        Fail(load, Stage::End, text, result);
        return result;
    }
    load.verdict.DeviceCrc = Bits(crc);
    if (crcValidity == 0)
        return SUCCESS;
    const std::string text =
        fmt::format("CRC failure in Image Load process (CRC=0x{:X}, CRCvalidity=0x{:X}.", Bits(crc), Bits(crcValidity));
    Log(load, LEVEL_ERROR, text);
    Fail(load, Stage::Crc, text, crcValidity);
    return FAILED;
}

void TellSuccess(const Load& load) {
    const float elapsed = std::max(basApp::ElapsedMilliseconds(load.startCount), 1.0F);
    Tell(load, LEVEL_USER,
         fmt::format("Successfully loaded new {} '{}' onto target at {:.2f} kB/sec.", load.name, load.file,
                     static_cast<double>(load.section.Length) / static_cast<double>(elapsed)));
}

// The state of a device whose load was cut short.
std::string StateText(const LoadUnderWay& load) {
    return fmt::format(
        "The load of the {} was ended early.  The device was told to erase what it held before and got {} of {} "
        "bytes: it stays in its bootloader, and the package has to be loaded again.",
        load.image, load.sent, load.length);
}

void TellEarlyEnd(Load& load) {
    if (!platform::EndRequested() || load.sent >= load.section.Length)
        return;
    load.verdict.Outcome = OutcomeKind::Interrupted;
    load.verdict.Reason = StateText({load.name, load.sent, load.section.Length});
    Log(load, LEVEL_ERROR, load.verdict.Reason);
}

// Everything from the erase on. A step that breaks off counts as failed and the next one runs, so that the target
// gets its DownloadEnd whatever happened to its blocks.
std::int32_t LoadSection(Load& load) {
    platform::ResumeNext next{LogFailure(load)};
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

OutcomeKind OutcomeOf(const Load& load) {
    if (load.verdict.Result == SUCCESS)
        return OutcomeKind::Done;
    if (load.verdict.Outcome != OutcomeKind::Pending)
        return load.verdict.Outcome;
    if (load.verdict.Flash != FlashState::Unchanged)
        return OutcomeKind::Damaged;
    return load.failedAt != Stage::None && load.failedAt < Stage::Busy ? OutcomeKind::Refused : OutcomeKind::Unchanged;
}

basApp::StepVerdict Verdict(Load& load, std::int32_t result) {
    basApp::StepVerdict& verdict = load.verdict;
    verdict.Result = result;
    verdict.Outcome = OutcomeOf(load);
    verdict.Sent = load.sent;
    verdict.Milliseconds = std::llround(basApp::ElapsedMilliseconds(load.startCount));
    if (result == SUCCESS) {
        verdict.Flash = FlashState::Identical;
        verdict.Reason.clear();
    }
    return verdict;
}

std::int32_t RefuseBusyDevice(Load& load, const DeviceLock& lock) {
    const std::string text = lock.Trouble() + "  Nothing was loaded.";
    Tell(load, LEVEL_ERROR, text);
    Fail(load, Stage::Busy, text);
    return FAILED;
}

std::int32_t Run(Load& load) {
    platform::ResumeNext next{LogFailure(load)};
    load.startCount = platform::QueryPerformanceCounter();
    if (!load.name) {
        const std::string text = fmt::format("DownloadImage Error: unknown ImageType '{}'", load.imageType);
        Log(load, LEVEL_ERROR, text);
        Fail(load, Stage::NoSection, text);
        return FAILED;
    }
    bool ready = false;
    next([&] { ready = IsReady(load); });
    if (!ready)
        return FAILED;
    const DeviceLock lock(load.handle);
    if (!lock.Taken())
        return RefuseBusyDevice(load, lock);
    next([&] { TellBeginning(load); });
    if (!load.style.clockFromEntry)
        load.startCount = platform::QueryPerformanceCounter();
    basApp::globals.DownloadInProgress = true;
    const std::int32_t result = LoadSection(load);
    basApp::globals.DownloadInProgress = false;
    next([&] { Advance(load, Step::Done); });
    return result;
}

DownloadStyle UnattendedStyle(ProgressFunction progress) {
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
    style.progress = std::move(progress);
    return style;
}

} // namespace

const BootloaderTarget* TargetOf(std::int32_t handle) {
    const std::int32_t index = GetDeviceIndex(handle);
    return index < 0 ? nullptr : &globals.TargetList[static_cast<std::size_t>(index)];
}

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

void Advance(const Load& load, Step step, std::int32_t tries) {
    globals.Load = {step > Step::Reading && step < Step::Done ? load.name : nullptr, load.sent, load.section.Length};
    if (load.style.progress)
        load.style.progress(
            {step, load.sent, load.section.Length, tries, load.handle, load.verdict.Guid, load.imageType});
}

bool Fail(Load& load, Stage stage, const std::string& reason, std::int32_t code) {
    if (load.failedAt == Stage::None) {
        load.failedAt = stage;
        load.verdict.Reason = reason;
    }
    if (load.style.failed)
        load.style.failed({stage, code, load.sent});
    return false;
}

void TellFailure(const Load& load) {
    Tell(load, load.style.failureLevel, fmt::format("Load new {} operation failed.", load.name));
}

std::string TellCopyFailure(const Load& load, std::int64_t size, std::int64_t fileOffset) {
    std::string text =
        fmt::format("Failed to copy 0x{:X} byte block at address 0x{:X} in file '{}' in Load Image function.", size,
                    Bits(fileOffset), load.file);
    Log(load, LEVEL_ERROR, text);
    return text;
}

basApp::StepVerdict DownloadImageInStyle(std::int32_t handle, std::int32_t imageType, const platform::FileName& file,
                                         const DownloadStyle& style) {
    Load load{handle, imageType, file, style, ImageName(imageType)};
    load.verdict.Operation = basApp::OperationKind::Load;
    load.verdict.Handle = handle;
    load.verdict.File = file;
    load.verdict.ImageType = imageType;
    if (const BootloaderTarget* target = TargetOf(handle))
        load.verdict.Guid = target->Info.GUID;
    return Verdict(load, Run(load));
}

void TellBrokenLoad() {
    if (globals.Load.image)
        StatusDisplay(LEVEL_ERROR, "{}", StateText(globals.Load));
}

basApp::StepVerdict DownloadImage(std::int32_t handle, std::int32_t imageType, const platform::FileName& file,
                                  ProgressFunction progress) {
    return DownloadImageInStyle(handle, imageType, file, UnattendedStyle(std::move(progress)));
}

} // namespace basBootloader

#include "LoadText.h"

#include "Twl1394api.h"
#include "bas1394.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

using basBootloader::DownloadFailure;
using basBootloader::LoadProgress;

namespace loadText {

namespace {

constexpr std::int32_t FLASH_WRITE_FAILED = -3; // a target's status

// A device's own verdict on a block, unlike the codes of the layers below and of a missing answer.
bool IsStatusOfDevice(std::int32_t code) {
    using namespace basBootloader;
    constexpr std::int32_t NOT_THE_DEVICES[] = {FAILED,
                                                GIVE_UP,
                                                INVALID_HANDLE_ERROR,
                                                WRONG_BLOCK,
                                                bas1394::RESULT_BUS_RESET,
                                                TWL1394_NODE_DID_NOT_RESPOND,
                                                TWL1394_BUS_RESET,
                                                TWL1394_SHUTTING_DOWN,
                                                TWL1394_ADDRESS_ERROR,
                                                TWL1394_TIMED_OUT,
                                                TWL1394_NO_RESPONSE};
    return std::ranges::find(NOT_THE_DEVICES, code) == std::end(NOT_THE_DEVICES);
}

// What happened to what was to be replaced. Configuration data usually goes after an image, which stays loaded.
std::string Untouched(bool isConfig) {
    return isConfig ? "  The device's configuration data was left as it was." : "  The device was left as it was.";
}

std::string Gone(bool isConfig) {
    return fmt::format("  The old {} is gone: load again before the device is restarted.",
                       isConfig ? "configuration data" : "image");
}

// Failures before the device was involved; empty for the others.
std::string CauseBefore(DownloadFailure::Stage stage) {
    using Stage = DownloadFailure::Stage;
    switch (stage) {
    case Stage::File:
        return "The file could not be read, or it is not a package.";
    case Stage::Hardware:
        return "The package is for another hardware model than the device's.";
    case Stage::NoSection:
        return "The package doesn't hold what was to be loaded.";
    case Stage::Outside:
        return "The package reaches outside its file: it is cut off or damaged.";
    default:
        return {};
    }
}

std::string CauseOnDevice(const DownloadFailure& failure, bool isConfig) {
    using Stage = DownloadFailure::Stage;
    if (failure.stage == Stage::Announcement)
        return "The device did not answer when the load was announced.  Does it still run its bootloader?";
    if (failure.stage == Stage::End)
        return "The device took all blocks but did not answer with its verdict on them.";
    if (failure.stage == Stage::Crc)
        return fmt::format("The device has the {}, but its CRC is not that of the package.",
                           isConfig ? "configuration data" : "image");
    if (failure.code == FLASH_WRITE_FAILED)
        return fmt::format("The device could not write its flash after {} bytes.", failure.bytes);
    if (IsStatusOfDevice(failure.code))
        return fmt::format("The device refused a block after {} bytes, with status {}.", failure.bytes, failure.code);
    return fmt::format("The device did not answer to a block after {} bytes, in three tries.", failure.bytes);
}

std::string Seconds(double milliseconds) {
    return fmt::format(", {:.0f} s", milliseconds / 1000);
}

} // namespace

std::string Phase(const LoadProgress& progress, std::int32_t sentAgain, bool failed) {
    using Step = LoadProgress::Step;
    switch (progress.step) {
    case Step::Reading:
        return "The package is read.  The device is still as it was.";
    case Step::Erasing:
        return "The device erases its flash.  Don't unplug it.";
    case Step::Loading:
        if (progress.tries > 0)
            return fmt::format("A block did not go through and is sent again (try {} of 3).  The load goes on.",
                               progress.tries + 1);
        return "The image goes to the device.  Don't unplug it." +
               (sentAgain == 0   ? std::string()
                : sentAgain == 1 ? "  One block had to be sent again."
                                 : fmt::format("  {} blocks had to be sent again.", sentAgain));
    case Step::Checking:
        return failed ? "The load has failed.  The device is told that no more comes."
                      : "The device has all blocks and checks the image.  Don't unplug it.";
    case Step::Done:
        break;
    }
    return {};
}

std::string Bar(const LoadProgress& progress, double elapsedMilliseconds, bool failed) {
    using Step = LoadProgress::Step;
    switch (progress.step) {
    case Step::Reading:
        return "reading the package";
    case Step::Erasing:
        return "erasing flash" + Seconds(elapsedMilliseconds);
    case Step::Checking:
        return (failed ? "ending" : "checking") + Seconds(elapsedMilliseconds);
    default:
        break;
    }
    std::string text = fmt::format("{} of {} bytes", progress.bytes, progress.length);
    if (progress.bytes <= 0 || elapsedMilliseconds <= 0)
        return text;
    const double rate = static_cast<double>(progress.bytes) / elapsedMilliseconds; // bytes per ms, or kB per second
    return text + fmt::format(", {:.1f} kB/s, {:.0f} s left", rate,
                              static_cast<double>(progress.length - progress.bytes) / rate / 1000);
}

std::string Cause(const DownloadFailure& failure, std::int32_t imageType, bool onTheBus, bool busReset) {
    using Stage = DownloadFailure::Stage;
    const bool isConfig = imageType == basBootloader::IMAGE_CONFIG;
    if (failure.stage == Stage::None)
        return {};
    if (failure.stage == Stage::Busy)
        return "Another program is loading this device.  Nothing was sent to it: wait until that has ended, then load "
               "again.";
    if (const std::string before = CauseBefore(failure.stage); !before.empty())
        return before + Untouched(isConfig);
    if (!onTheBus)
        return "The device has left the bus: it was unplugged, switched off or restarted.  Connect it again, bring it "
               "into its bootloader, and load again.";
    if (failure.stage == Stage::Refusal)
        return fmt::format("The device refused the {}: it answered with blocks of {} bytes.{}",
                           isConfig ? "configuration data" : "image", failure.code, Untouched(isConfig));
    return CauseOnDevice(failure, isConfig) + (busReset ? "  The bus was reset meanwhile: was it unplugged?" : "") +
           (failure.stage == Stage::Announcement ? "" : Gone(isConfig));
}

} // namespace loadText

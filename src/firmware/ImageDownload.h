// The loading of one package section into one target: hardware check, erase, blocks with retries, the target's CRC
// verdict. There is one sequence; the differences between the two callers are data.
#pragma once

#include "LoadProgress.h"
#include "TwdPackage.h"
#include "Verdict.h"
#include "basBootloader.h"

#include <cstdint>
#include <functional>
#include <string>

namespace basBootloader {

using basApp::LoadProgress;

// Called at each step and after each block, whether it was sent or not; during erase and check also at each poll.
using ProgressFunction = std::function<void(const LoadProgress&)>;

// Where a load failed.
struct DownloadFailure {
    enum class Stage { None, File, Hardware, NoSection, Outside, Busy, Announcement, Refusal, Block, End, Crc };
    Stage stage = Stage::None;
    std::int32_t code = 0;  // of the command; for a refusal the block size that was answered
    std::int64_t bytes = 0; // sent by then
};

// What differs between the callers. The comments name the message of each level and text;
// "{file}" in a text is the package's path.
struct DownloadStyle {
    std::int32_t cneAddress = 0;  // where configuration data goes on the target
    bool clockFromEntry = false;  // the rate also covers the reading and the dialogs
    bool hardwareIdInHex = false; // the hardware boxes give the package's ID in hex too
    bool dialogsWhenUnattended = false;
    bool bothIdsOnAbort = false;                      // a second line with both hardware IDs
    bool tellGivingUp = false;                        // a line after the last retry of a block
    bool logEndFailure = false;                       // otherwise it is only shown
    bool turnsBetweenBlocks = false;                  // the window system gets a turn after each block
    std::int32_t failureLevel = LEVEL_ERROR;          // "Load new ... operation failed."
    std::int32_t startFailureLevel = LEVEL_ERROR;     // DownloadStart failed
    std::int32_t blockSizeFailureLevel = LEVEL_ERROR; // DownloadStart gave no usable block size
    std::int32_t blockFailureLevel = LEVEL_ERROR;
    const char* blockFailure = "";
    const char* flashFailure = ""; // the target could not write its flash
    std::function<void(const platform::FileName& file, TwdHeader&)> load = LoadTWD;
    std::function<void(const std::string& text)> show; // a status label
    std::function<void(const std::string& text, std::int32_t level)> log;
    ProgressFunction progress;
    std::function<void(const DownloadFailure&)> failed; // the first failure comes first
    const CommandProgress* startProgress = nullptr;     // during DownloadStart
    const CommandProgress* endProgress = nullptr;       // during DownloadEnd
};

// For a process that ends in the middle of a load: an ERROR line with the state of the device. Nothing without a load.
void TellBrokenLoad();

// The sequence, under the device's lock: without it nothing is sent. The verdict's Result is 1 when the target holds
// the section and judged it good, else -1. A load can't be undone: after DownloadStart the old image is lost. When the
// program is to end the load ends early: the erase isn't waited for, the block under way is, DownloadEnd follows, and
// an ERROR line gives the device's state.
[[nodiscard]] basApp::StepVerdict DownloadImageInStyle(std::int32_t handle, std::int32_t imageType,
                                                       const platform::FileName& file, const DownloadStyle& style);
// The version for unattended work.
[[nodiscard]] basApp::StepVerdict DownloadImage(std::int32_t handle, std::int32_t imageType,
                                                const platform::FileName& file, ProgressFunction progress = {});

// The line of a load that was aborted since the package is for another model than the target.
std::string HardwareMismatch(std::int32_t packageModel, std::int32_t targetModel);

} // namespace basBootloader

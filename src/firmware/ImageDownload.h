// The loading of one package section into one target: hardware check, erase, blocks with retries,
// the target's CRC verdict. One sequence; what the two places that load differ in is data.
#pragma once

#include "TwdPackage.h"
#include "basBootloader.h"

#include <cstdint>
#include <functional>
#include <string>

namespace basBootloader {

// Where a load stands, for whoever shows it.
struct DownloadProgress {
    enum class Step { Reading, Erasing, Loading, Checking, Done } step = Step::Reading;
    std::int64_t bytes = 0;  // gone through so far
    std::int64_t length = 0; // of the section; 0 while it is being read
    std::int32_t tries = 0;  // in a row that failed with the block that follows these bytes
};

// Where a load failed, for whoever tells the user why.
struct DownloadFailure {
    enum class Stage { None, File, Hardware, NoSection, Outside, Announcement, Refusal, Block, End, Crc };
    Stage stage = Stage::None;
    std::int32_t code = 0;  // of the command; for a refusal the block size that was answered
    std::int64_t bytes = 0; // that had gone through
};

// What a load differs in by its place. Levels and texts belong to the messages named beside them;
// "{file}" in a text is the package's path.
struct DownloadStyle {
    std::int32_t cneAddress = 0;  // where configuration data goes on the target
    bool clockFromEntry = false;  // the rate also covers the reading and the dialogs
    bool hardwareIdInHex = false; // the hardware boxes give the package's ID in hex too
    bool dialogsWhenUnattended = false;
    bool bothIdsOnAbort = false;                      // a second line with both hardware IDs
    bool tellGivingUp = false;                        // a line behind the last retry of a block
    bool logEndFailure = false;                       // otherwise it is only shown
    bool turnsBetweenBlocks = false;                  // the window system gets a turn behind each block
    std::int32_t failureLevel = LEVEL_ERROR;          // "Load new ... operation failed."
    std::int32_t startFailureLevel = LEVEL_ERROR;     // DownloadStart failed
    std::int32_t blockSizeFailureLevel = LEVEL_ERROR; // DownloadStart gave no usable block size
    std::int32_t blockFailureLevel = LEVEL_ERROR;
    const char* blockFailure = "";
    const char* flashFailure = ""; // the target could not write its flash
    std::function<void(const platform::FileName& file, TwdHeader&)> load = LoadTWD;
    std::function<void(const std::string& text)> show; // a status label
    std::function<void(const std::string& text, std::int32_t level)> log;
    std::function<void(const DownloadProgress&)> progress; // at each step and after each block, sent or not
    std::function<void(const DownloadFailure&)> failed;    // the first failure comes first
    const CommandProgress* startProgress = nullptr;        // during DownloadStart
    const CommandProgress* endProgress = nullptr;          // during DownloadEnd
};

// Listener of the unattended load's progress; filled by main.
struct DownloadHooks {
    std::function<void(const DownloadProgress&)> progress;
};
extern DownloadHooks downloadHooks;

// The load that has begun to change its device, with the bytes that went through so far.
struct LoadUnderWay {
    const char* image = nullptr; // its name; null without a load
    std::int64_t sent = 0, length = 0;
};
extern LoadUnderWay loadUnderWay;
// An ERROR line that says what state its device is in, when the process ends under it; none without a load.
void TellBrokenLoad();

// The sequence. 1 when the target holds the section and judged it good, else -1. What a load does
// can't be undone: after DownloadStart the old image is gone. When the program is to end it ends early: the
// erase isn't waited for, the block under way is, DownloadEnd follows, and an ERROR line tells of the device.
std::int32_t DownloadImageInStyle(std::int32_t handle, std::int32_t imageType, const platform::FileName& file,
                                  const DownloadStyle& style);
// The version of unattended work.
std::int32_t DownloadImage(std::int32_t handle, std::int32_t imageType, const platform::FileName& file);

} // namespace basBootloader

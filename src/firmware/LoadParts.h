// One load, shared by the files of this layer: LoadChecks.cpp is what precedes the target, ImageDownload.cpp the rest.
#pragma once

#include "ImageDownload.h"

namespace basBootloader {

inline constexpr std::int32_t MAX_BLOCK_SIZE = 1024;

using Step = LoadProgress::Step;
using Stage = DownloadFailure::Stage;

struct Load {
    std::int32_t handle;
    std::int32_t imageType;
    const platform::FileName& file;
    const DownloadStyle& style;
    const char* name; // of the image
    TwdHeader package{};
    TwdSection section{};  // with the address that the image gets on the target
    std::int64_t sent = 0; // bytes that the target took
    std::int64_t startCount = 0;
    Stage failedAt = Stage::None; // the first failure
    basApp::StepVerdict verdict{};
};

// null when no target has the handle.
const BootloaderTarget* TargetOf(std::int32_t handle);

void Log(const Load& load, std::int32_t level, const std::string& text);
void Show(const Load& load, const std::string& text);
void Tell(const Load& load, std::int32_t level, const std::string& text); // both
void TellFailure(const Load& load);
// Logs, for a block that isn't in the file, and returns the text.
std::string TellCopyFailure(const Load& load, std::int64_t size, std::int64_t fileOffset);
void Advance(const Load& load, Step step, std::int32_t tries = 0);
// Notes and reports a failure. False, for the caller to return.
bool Fail(Load& load, Stage stage, const std::string& reason, std::int32_t code = FAILED);

// Everything before the target is touched: reads the package, compares the hardware, picks the section and checks
// that the file holds it. False, with its message, when the load can't begin (LoadChecks.cpp).
[[nodiscard]] bool IsReady(Load& load);

} // namespace basBootloader

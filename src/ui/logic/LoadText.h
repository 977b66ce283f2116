// What the firmware browser says about a load: the phase while it runs, and the cause of a failure.
#pragma once

#include "ImageDownload.h"

#include <cstdint>
#include <string>

namespace loadText {

// The line below the status while a load runs. `sentAgain`: blocks that needed more than one try so far.
std::string Phase(const basBootloader::LoadProgress& progress, std::int32_t sentAgain, bool failed);
// On the bar: "erasing flash, 3 s", "65536 of 131072 bytes, 53.8 kB/s, 2 s left". The time is that of the current step.
std::string Bar(const basBootloader::LoadProgress& progress, double elapsedMilliseconds, bool failed);
// The line below the status when a load has succeeded.
inline constexpr const char* GOOD_CRC =
    "CRC good: the device has compared what it holds now with the CRC of the package.";
// Why a load has failed and what to do; empty without a failure. `imageType`: IMAGE_CONFIG or one of the images;
// `onTheBus`: whether the target is still there; `busReset`: whether a bus reset has occurred that isn't handled yet.
std::string Cause(const basBootloader::DownloadFailure& failure, std::int32_t imageType, bool onTheBus, bool busReset);

} // namespace loadText

// How far a load has come, for a front end.
#pragma once

#include <array>
#include <cstdint>

namespace basApp {

struct LoadProgress {
    enum class Step { Reading, Erasing, Loading, Checking, Done } step = Step::Reading;
    std::int64_t bytes = 0;                // taken by the device so far
    std::int64_t length = 0;               // of the section; 0 while the package is being read
    std::int32_t tries = 0;                // failed attempts in a row at the block after these bytes
    std::int32_t handle = 0;               // of the device
    std::array<std::uint8_t, 8> guid = {}; // of the device, most significant byte first
    std::int32_t imageType = -1;
};

const char* NameOf(LoadProgress::Step step);          // "erasing"
std::int64_t Twentieth(const LoadProgress& progress); // of the section, that the device has taken

} // namespace basApp

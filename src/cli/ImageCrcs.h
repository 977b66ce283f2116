// The CRCs that a device's bootloader tells of its images.
#pragma once

#include "Call.h"

#include <cstdint>
#include <vector>

namespace cli {

struct ImageCrc {
    std::int32_t imageType;
    bool answered = false;
    std::uint32_t crc = 0; // as the device computes it
    bool good = false;     // by the device's own verdict
};

// Asks the bootloader of `handle`.
ImageCrc AskCrc(std::int32_t handle, std::int32_t imageType);
// The same for all images, up to an end of the call.
std::vector<ImageCrc> AskCrcs(Call& call, std::int32_t handle);
const char* WordOf(const ImageCrc& image); // "good", "bad", "no answer"
Json ToJson(const ImageCrc& image);

} // namespace cli

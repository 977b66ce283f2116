// A ROM that lies in a file instead of on a bus, read by the same reader.
#pragma once

#include "ConfigRomRecord.h"

#include <cstdint>

namespace basConfigRom {

struct RomImageGlobals {
    ByteArray Image; // what the library's read, a plain function, reads from
};
extern RomImageGlobals romImageGlobals;

// The image with its quadlets big-endian, in which order it may be already.
ByteArray BigEndianImage(ByteArray image);

// `image` holds the quadlets from the ROM's base on: big-endian, or in the order in which Linux
// exposes a ROM on a little-endian machine (told apart by the bus name in the second quadlet).
// The result of GetFormattedConfigRom. Binds bas1394 to the image for that time: not for a program
// that also has a bus.
std::int32_t ReadRomImage(ByteArray image, ConfigRomRecord& rom);

} // namespace basConfigRom

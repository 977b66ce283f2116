// Configuration ROMs (IEEE 1212) as byte images, first byte at the ROM's base, big-endian.
#pragma once

#include "WireBytes.h"

#include <string>

namespace simulator {

struct RomContent {
    std::uint32_t vendorId = 0;        // 24 bits
    EightBytes guid{};                 // bus info block; its first three bytes are replaced by vendorId
    std::uint32_t modelId = 0;         // 24 bits are used
    std::uint32_t hardwareVersion = 0; // the upper 24 bits are used
    std::string vendor, model;
};

// Bus info block, root directory with vendor and model and their texts, one unit directory.
Bytes GenerateRom(const RomContent& content);
// One quadlet: the vendor and nothing else.
Bytes MinimalRom(std::uint32_t vendorId);

// Big-endian, or in the quadlet order of a little-endian machine; the bus name "1394" in the
// second quadlet tells. Without that name it is taken as big-endian. Throws runtime_error.
Bytes LoadRomImage(const std::string& path);

// CRC-16 of IEEE 1212 over whole quadlets.
std::uint16_t Crc16(ByteView quadlets);

} // namespace simulator

// Configuration ROMs (IEEE 1212) as big-endian byte images from the ROM's base on.
#pragma once

#include "WireBytes.h"

#include <string>

namespace simulator {

struct RomContent {
    std::uint32_t vendorId = 0;        // 24 bits
    EightBytes guid{};                 // bus info block; vendorId replaces its first three bytes
    std::uint32_t modelId = 0;         // 24 bits used
    std::uint32_t hardwareVersion = 0; // upper 24 bits used
    std::string vendor, model;
};

// Bus info block, root directory with vendor and model and their texts, and a unit directory.
Bytes GenerateRom(const RomContent& content);
// One quadlet, with the vendor only.
Bytes MinimalRom(std::uint32_t vendorId);

// Big-endian, or in the quadlet order of a little-endian machine, according to the bus name "1394" in
// the second quadlet. Without that name it is taken as big-endian. Throws runtime_error.
Bytes LoadRomImage(const std::string& path);
Bytes ToRomImage(const Bytes& content); // the same of bytes at hand

// CRC-16 of IEEE 1212 over whole quadlets.
std::uint16_t Crc16(ByteView quadlets);

} // namespace simulator

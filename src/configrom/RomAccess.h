// What the files of the reader share.
#pragma once

#include "Device.h"
#include "Failure.h"
#include "RomFormat.h"
#include "basConfigRom.h"

namespace basConfigRom {

inline std::string Deeper(const std::string& trail) {
    return trail + "|";
}
bool InNodeTable(std::int32_t nodeIndex);
// What the bus access needs of the node's record; the record itself is being filled.
Device BusAccessTo(std::int32_t nodeIndex);
// `size` bytes at 0xFFFF and `address`, a quadlet at a time. The code of AsyncReadWrapperVB.
std::int32_t ReadQuadlets(const Device& device, std::uint32_t address, std::int32_t size, ByteArray& bytes);

// Each statement goes on past a failure of the one before.
inline auto GoesOn(const char* procedure, const std::string& trail) {
    return platform::ResumeNext([procedure, trail](const platform::Failure& f) {
        StatusDisplay(trail, LEVEL_ERROR, "Error #{}: {} in bas1394.{}", f.Number, f.Description, procedure);
    });
}

} // namespace basConfigRom

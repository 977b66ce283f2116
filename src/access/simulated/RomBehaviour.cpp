#include "RomBehaviour.h"
#include "MemoryMap.h"

#include <algorithm>

namespace simulator {

bool RomBehaviour::Covers(std::uint64_t address, std::size_t size) const {
    return Inside(address, size, CONFIG_ROM, image_.size()) && address % 4 == 0;
}

std::int32_t RomBehaviour::Read(std::uint64_t address, ByteSpan data) {
    std::copy_n(image_.begin() + static_cast<std::ptrdiff_t>(address - CONFIG_ROM), data.size(), data.begin());
    return TWL1394_SUCCESS;
}

} // namespace simulator

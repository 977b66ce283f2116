#include "DebuggerHandshake.h"
#include "MemoryMap.h"

#include <algorithm>

namespace simulator {

static constexpr EightBytes PROBE = {0x01, 0x01, 0x00, 0x00, 0x80, 0x80, 0x01, 0x00};
static constexpr EightBytes ANSWER = {0x01, 0x01, 0x05, 0x00, 0x80, 0x80, 0x01, 0x00};

bool DebuggerHandshake::Covers(std::uint64_t address, std::size_t size) const {
    return (address == DEBUG_PROBE || address == DEBUG_ANSWER) && size == PROBE.size();
}

std::int32_t DebuggerHandshake::Read(std::uint64_t address, ByteSpan data) {
    if (address != DEBUG_ANSWER || !probed_) {
        return TWL1394_ADDRESS_ERROR;
    }
    std::copy(ANSWER.begin(), ANSWER.end(), data.begin());
    return TWL1394_SUCCESS;
}

std::int32_t DebuggerHandshake::Write(std::uint64_t address, ByteView data) {
    if (address != DEBUG_PROBE || !std::equal(data.begin(), data.end(), PROBE.begin())) {
        return TWL1394_ADDRESS_ERROR;
    }
    probed_ = true;
    return TWL1394_SUCCESS;
}

} // namespace simulator

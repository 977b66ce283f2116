#include "DebuggerHandshake.h"
#include "MemoryMap.h"

#include <algorithm>

namespace simulator {

static constexpr EightBytes PROBE = {0x01, 0x01, 0x00, 0x00, 0x80, 0x80, 0x01, 0x00};
static constexpr std::int64_t ANSWER_AFTER = 20 * MILLISECOND;
static constexpr EightBytes ANSWER = {0x01, 0x01, 0x05, 0x00, 0x80, 0x80, 0x01, 0x00};

bool DebuggerHandshake::Covers(std::uint64_t address, std::size_t size) const {
    return (address == DEBUG_PROBE || address == DEBUG_ANSWER) && size == PROBE.size();
}

std::int32_t DebuggerHandshake::Read(std::uint64_t address, ByteSpan data) {
    if (address != DEBUG_ANSWER)
        return TWL1394_ADDRESS_ERROR;
    std::fill(data.begin(), data.end(), std::uint8_t{0});
    if (answerDue_ && now_() >= *answerDue_) {
        std::copy(ANSWER.begin(), ANSWER.end(), data.begin());
        answerDue_.reset();
    }
    return TWL1394_SUCCESS;
}

std::int32_t DebuggerHandshake::Write(std::uint64_t address, ByteView data) {
    if (address != DEBUG_PROBE || !std::equal(data.begin(), data.end(), PROBE.begin()))
        return TWL1394_ADDRESS_ERROR;
    answerDue_ = now_() + ANSWER_AFTER;
    return TWL1394_SUCCESS;
}

} // namespace simulator

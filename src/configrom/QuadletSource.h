// Where a config ROM is read from.
#pragma once

#include "Bytes.h"

#include <cstdint>

namespace basConfigRom {

// Results of a read that the reader distinguishes; any other number is a failure too.
inline constexpr std::int32_t READ_SUCCESS = 1, READ_BUS_RESET = -105,
                              READ_ADDRESS_ERROR = static_cast<std::int32_t>(0x80000017),
                              READ_TIMED_OUT = static_cast<std::int32_t>(0x80000102);

class QuadletSource {
public:
    virtual ~QuadletSource() = default;
    // False when there is no such node (any more); it isn't read then.
    [[nodiscard]] virtual bool Exists() const { return true; }
    // `size` bytes (whole quadlets, at most 2048) at 0xFFFF and `address`. They are in `bytes` after READ_SUCCESS only.
    [[nodiscard]] virtual std::int32_t Read(std::uint32_t address, std::int32_t size, ByteArray& bytes) = 0;

    // The names of the source in messages.
    std::int32_t NodeIndex() const { return nodeIndex_; }
    std::int32_t NodeNumber() const { return nodeNumber_; }

protected:
    QuadletSource(std::int32_t nodeIndex, std::int32_t nodeNumber) : nodeIndex_(nodeIndex), nodeNumber_(nodeNumber) {}

private:
    std::int32_t nodeIndex_, nodeNumber_;
};

} // namespace basConfigRom

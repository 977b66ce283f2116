// What a node does at some of its addresses.
#pragma once

#include "Twl1394api.h"
#include "WireBytes.h"

namespace simulator {

class Behaviour {
public:
    virtual ~Behaviour() = default;
    // True if the whole range belongs to this behaviour.
    virtual bool Covers(std::uint64_t address, std::size_t size) const = 0;
    // Result codes of the library; an address error for an operation that the behaviour doesn't support.
    [[nodiscard]] virtual std::int32_t Read(std::uint64_t, ByteSpan) { return TWL1394_ADDRESS_ERROR; }
    [[nodiscard]] virtual std::int32_t Write(std::uint64_t, ByteView) { return TWL1394_ADDRESS_ERROR; }
};

inline bool Inside(std::uint64_t address, std::size_t size, std::uint64_t base, std::size_t length) {
    return address >= base && address - base <= length && size <= length - (address - base);
}

} // namespace simulator

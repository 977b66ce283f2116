#pragma once

#include <cstdint>
#include <vector>

using ByteArray = std::vector<std::uint8_t>;

// The 32 bits of a result code or length, for messages that show them in hexadecimal.
constexpr std::uint32_t Bits(std::int64_t value) {
    return static_cast<std::uint32_t>(value);
}

// What IEEE 1212 defines and several files of this folder need.
#pragma once

#include "Bytes.h"

#include <cstdint>
#include <string>

namespace basConfigRom {

// The kinds of an entry's value (IEEE 1212-2001, 7.5.1).
inline constexpr std::int32_t TYPE_IMMEDIATE = 0, TYPE_OFFSET = 1, TYPE_LEAF = 2, TYPE_DIRECTORY = 3;
inline constexpr std::int32_t KEY_TEXT = 0x01; // a textual descriptor

inline constexpr std::uint32_t MAX_BLOCK_QUADLETS = 512; // 2048 bytes, what one read takes

// The big-endian quadlet at byte `at`. A failure when it isn't all there.
std::uint32_t Quadlet(const ByteArray& bytes, std::size_t at);

// The indent of messages one level further down.
inline std::string Deeper(const std::string& trail) {
    return trail + "|";
}

} // namespace basConfigRom

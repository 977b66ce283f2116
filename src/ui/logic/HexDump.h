// What the memory viewer decides, without a widget: how many bytes a line holds, and what is found.
#pragma once

#include "Bytes.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace hexDump {

// Bytes per line for a text box of that width in twips: a multiple of 4, at least 4.
std::int32_t ColumnsOfWidth(std::int32_t width);

// The byte strings that a search text matches: its characters and, if it reads as hex ("0A 1B", "0x0a1b"), those bytes.
// Never an empty one.
std::vector<ByteArray> SoughtBytes(std::string_view text);

struct Range {
    std::size_t begin = 0, end = 0; // after the last
    bool operator==(const Range&) const = default;
};
// The first occurrence of any of them from `start` on, then from the beginning again; backward, the last one that
// begins before `start`, then from the end again.
std::optional<Range> Find(const ByteArray& bytes, const std::vector<ByteArray>& sought, std::size_t start,
                          bool backward = false);

} // namespace hexDump

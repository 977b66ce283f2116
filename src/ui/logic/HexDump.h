// What the memory viewer decides, without a widget: how many bytes a line holds, and what is looked for.
#pragma once

#include "Bytes.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace hexDump {

// Bytes a line for a text box of that width in twips: multiples of 4, at least 4.
std::int32_t ColumnsOfWidth(std::int32_t width);

// What a text to find stands for: its characters and, when it reads as bytes in hex ("0A 1B", "0x0a1b"),
// those too. No empty ones.
std::vector<ByteArray> SoughtBytes(std::string_view text);

struct Range {
    std::size_t begin = 0, end = 0; // behind the last
    bool operator==(const Range&) const = default;
};
// The first place from `start` on where one of them stands, then from the beginning again; backward, the
// last place that begins before `start`, then from the end again.
std::optional<Range> Find(const ByteArray& bytes, const std::vector<ByteArray>& sought, std::size_t start,
                          bool backward = false);

} // namespace hexDump

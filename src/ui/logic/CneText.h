// The CNE section of a package as text: pure, one pass over the bytes. The section is a list of
// NUL-terminated strings in which "[" opens a group and "]" closes it; inside a group the strings
// come in key and value pairs.
#pragma once

#include "Bytes.h"

#include <cstddef>
#include <string>

namespace cneText {

// Deeper groups are indented like those of this depth.
inline constexpr std::size_t DEEPEST_INDENT = 64;
// In characters; a text ends after the line that exceeds this, with a note that it was cut.
inline constexpr std::size_t LONGEST_TEXT = 4 << 20;
// In characters; a longer line goes on in the next, since no view can lay out a line of megabytes.
inline constexpr std::size_t LONGEST_LINE = 16384;

// Inside a group a line for each pair, "key=value", indented by depth. Line ends are CR LF.
std::string TextOf(const ByteArray& cne);

} // namespace cneText

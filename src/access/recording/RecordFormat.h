// The file of a record: a mark, then one entry after the other.
//
//   file    "TWLREC1\n", entries
//   entry   length of the body (varint), body, CRC-32 of length and body (4 bytes, little-endian)
//   body    kind (1 byte; bit 7: data is a digest), end less the end of the entry before it (zigzag varint), duration
//           (varint), and the fields of its kind in the order of FieldsOf; whole bodies only
//   field   a number as varint (result: zigzag), data and text as length and bytes
//
// A varint has seven bits a byte, the low ones first, and bit 7 in all but its last byte. Times are microseconds. The
// program can be killed and the disk full at any byte: everything up to the last whole entry is a record.
#pragma once

#include "RecordEntry.h"

#include <optional>
#include <span>
#include <string_view>

namespace recording {

using ByteView = std::span<const std::uint8_t>;

inline constexpr std::string_view MARK = "TWLREC1\n";
inline constexpr std::size_t LARGEST_BODY = 1 << 20; // bytes; a longer entry isn't written, and taken for damage

// Names of the lines of Kind::About.
inline constexpr const char *ABOUT_PROGRAM = "program", *ABOUT_BUS = "bus", *ABOUT_LIBRARY = "library",
                            *ABOUT_TIME = "time", *ABOUT_REDACTED = "redacted";
// The value of a line of the text; "" without it.
std::string AboutValue(std::string_view text, std::string_view name);

// A body with its length and CRC.
Bytes Framed(ByteView body);
// The whole entry for the file, after one that ended at `previousEnd`; empty if it is too large.
Bytes Encode(const Entry& entry, std::int64_t previousEnd);

struct Decoded {
    Entry entry;
    std::size_t size; // bytes of the file
};
enum class Fault { None, Cut, Damaged };
// The entry that `bytes` begin with. Empty if it isn't whole (Cut: more bytes could make it so) or isn't one (Damaged).
std::optional<Decoded> Decode(ByteView bytes, std::int64_t previousEnd, Fault& fault);

} // namespace recording

// Addresses of a target, and what a request or an answer begins with.
#pragma once

#include "RecordEntry.h"

#include <optional>

namespace record {

inline constexpr std::uint64_t ROM = 0xFFFFF0000400, ROM_END = 0xFFFFF0000800, INFO = 0xFFFFC8020000,
                               REQUEST = 0xFFFFC8021000, REQUEST_BUFFER = 0xFFFFC8021040, RESPONSE = 0xFFFFC8029000,
                               RESPONSE_BUFFER = 0xFFFFC8029040, BUFFER_SIZE = 2048;
inline constexpr std::size_t INFO_SIZE = 104, HEADER_SIZE = 8;

inline std::uint32_t Little(const recording::Bytes& bytes, std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4 && at + i < bytes.size(); ++i)
        value |= std::uint32_t{bytes[at + i]} << (8 * i);
    return value;
}

// Of a request and of an answer.
struct Header {
    std::uint16_t id = 0;
    std::uint8_t code = 0, quadlets = 0;
    bool operator==(const Header& other) const { return id == other.id && code == other.code; } // an answer to it
};
inline std::optional<Header> HeaderOf(const recording::Entry& entry) {
    const recording::Bytes& data = entry.data;
    const std::uint64_t address = entry.kind == recording::Kind::Write ? REQUEST : RESPONSE;
    if (!recording::IsTransaction(entry.kind) || entry.address != address || data.size() < HEADER_SIZE)
        return std::nullopt;
    return Header{static_cast<std::uint16_t>(data[4] | data[5] << 8), data[6], data[7]};
}

} // namespace record

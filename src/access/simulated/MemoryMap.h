// Addresses on the nodes of the simulated bus, as 48-bit destination offsets.
#pragma once

#include <cstddef>
#include <cstdint>

namespace simulator {

inline constexpr std::uint64_t CONFIG_ROM = 0xFFFFF0000400;   // IEEE 1212
inline constexpr std::uint64_t TOPOLOGY_MAP = 0xFFFFF0001000; // IEEE 1394-1995, 8.3.2.4

inline constexpr std::uint64_t INFO_REGISTERS = 0xFFFFC8020000;
inline constexpr std::uint64_t REQUEST_AREA = 0xFFFFC8021000;
inline constexpr std::uint64_t RESPONSE_AREA = 0xFFFFC8029000; // on the host, for announcements
inline constexpr std::uint64_t DEBUG_PROBE = 0xFFFFC8000000;
inline constexpr std::uint64_t DEBUG_ANSWER = 0xFFFFC8010000;

// The Request Buffer follows the request quadlets without a gap; likewise the response.
inline constexpr std::size_t QUADLETS_SIZE = 0x40;
inline constexpr std::size_t BUFFER_SIZE = 2048;
inline constexpr std::size_t AREA_SIZE = QUADLETS_SIZE + BUFFER_SIZE;

inline constexpr std::int64_t MICROSECOND = 1'000; // nanoseconds
inline constexpr std::int64_t MILLISECOND = 1'000'000;

} // namespace simulator

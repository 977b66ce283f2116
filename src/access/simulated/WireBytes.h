// Bytes on the wire: integers in either byte order, and hex texts.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace simulator {

using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;
using ByteSpan = std::span<std::uint8_t>;
using EightBytes = std::array<std::uint8_t, 8>;

enum class ByteOrder { Little, Big };

// The bytes from `offset` on must exist.
std::uint16_t Get16(ByteView bytes, std::size_t offset, ByteOrder order);
std::uint32_t Get32(ByteView bytes, std::size_t offset, ByteOrder order);
void Put16(ByteSpan bytes, std::size_t offset, std::uint16_t value, ByteOrder order);
void Put32(ByteSpan bytes, std::size_t offset, std::uint32_t value, ByteOrder order);
void Append32(Bytes& bytes, std::uint32_t value, ByteOrder order);

// Reverses the four bytes of each quadlet. The size is a multiple of 4.
EightBytes TurnQuadlets(const EightBytes& bytes);
void TurnQuadlets(ByteSpan bytes);

std::string ToHex(ByteView bytes);                               // lower case, no separators
[[nodiscard]] bool FromHex(std::string_view text, Bytes& bytes); // false for an odd count or another character

EightBytes ToEightBytes(std::string_view text, char fill); // truncated or padded

} // namespace simulator

#include "WireBytes.h"

#include <algorithm>
#include <iterator>

namespace simulator {

std::uint16_t Get16(ByteView bytes, std::size_t offset, ByteOrder order) {
    const unsigned first = bytes[offset], second = bytes[offset + 1];
    return static_cast<std::uint16_t>(order == ByteOrder::Big ? first << 8 | second : second << 8 | first);
}

std::uint32_t Get32(ByteView bytes, std::size_t offset, ByteOrder order) {
    const std::uint32_t first = Get16(bytes, offset, order), second = Get16(bytes, offset + 2, order);
    return order == ByteOrder::Big ? first << 16 | second : second << 16 | first;
}

void Put16(ByteSpan bytes, std::size_t offset, std::uint16_t value, ByteOrder order) {
    const auto high = static_cast<std::uint8_t>(value >> 8), low = static_cast<std::uint8_t>(value);
    bytes[offset] = order == ByteOrder::Big ? high : low;
    bytes[offset + 1] = order == ByteOrder::Big ? low : high;
}

void Put32(ByteSpan bytes, std::size_t offset, std::uint32_t value, ByteOrder order) {
    const auto high = static_cast<std::uint16_t>(value >> 16), low = static_cast<std::uint16_t>(value);
    Put16(bytes, offset, order == ByteOrder::Big ? high : low, order);
    Put16(bytes, offset + 2, order == ByteOrder::Big ? low : high, order);
}

void Append32(Bytes& bytes, std::uint32_t value, ByteOrder order) {
    bytes.resize(bytes.size() + 4);
    Put32(bytes, bytes.size() - 4, value, order);
}

void TurnQuadlets(ByteSpan bytes) {
    for (std::size_t offset = 0; offset + 4 <= bytes.size(); offset += 4) {
        std::reverse(bytes.begin() + static_cast<std::ptrdiff_t>(offset),
                     bytes.begin() + static_cast<std::ptrdiff_t>(offset + 4));
    }
}

EightBytes TurnQuadlets(const EightBytes& bytes) {
    EightBytes turned = bytes;
    TurnQuadlets(ByteSpan(turned));
    return turned;
}

std::string ToHex(ByteView bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const std::uint8_t byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

static int HexDigit(char character) {
    if (character >= '0' && character <= '9')
        return character - '0';
    const char lower = static_cast<char>(character | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

bool FromHex(std::string_view text, Bytes& bytes) {
    bytes.clear();
    if (text.size() % 2 != 0)
        return false;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        const int high = HexDigit(text[i]), low = HexDigit(text[i + 1]);
        if (high < 0 || low < 0)
            return false;
        bytes.push_back(static_cast<std::uint8_t>(high << 4 | low));
    }
    return true;
}

EightBytes ToEightBytes(std::string_view text, char fill) {
    EightBytes bytes;
    bytes.fill(static_cast<std::uint8_t>(fill));
    std::copy_n(text.begin(), std::min(text.size(), bytes.size()), bytes.begin());
    return bytes;
}

} // namespace simulator

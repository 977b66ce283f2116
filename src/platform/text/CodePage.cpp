#include "CodePage.h"

#include "Failure.h"

#include <array>
#include <charconv>
#include <cmath>
#include <system_error>
#include <utility>

namespace platform {

namespace {

// Windows-1252, bytes 80 to 9F; the unassigned ones are the C1 controls of the same number.
constexpr std::array<std::uint16_t, 32> UPPER_CONTROLS{0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                                       0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
                                                       0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                                       0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

std::uint32_t CharacterOf(std::uint8_t byte) {
    return byte >= 0x80 && byte < 0xA0 ? UPPER_CONTROLS[std::size_t(byte - 0x80)] : byte;
}

void AppendUtf8(std::string& text, std::uint32_t character) {
    if (character < 0x80) {
        text += char(character);
    } else if (character < 0x800) {
        text += char(0xC0 | (character >> 6));
        text += char(0x80 | (character & 0x3F));
    } else {
        text += char(0xE0 | (character >> 12));
        text += char(0x80 | ((character >> 6) & 0x3F));
        text += char(0x80 | (character & 0x3F));
    }
}

// The character at `at` and its length in bytes; 0 bytes for invalid UTF-8.
std::pair<std::uint32_t, std::size_t> DecodeUtf8(std::string_view text, std::size_t at) {
    const auto byte = [&](std::size_t i) { return std::uint8_t(text[i]); };
    const std::uint8_t lead = byte(at);
    if (lead < 0x80)
        return {lead, 1};
    if (lead < 0xC2 || lead > 0xF4)
        return {0, 0};
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (at + length > text.size())
        return {0, 0};
    std::uint32_t character = lead & (0x7Fu >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(at + i) & 0xC0) != 0x80)
            return {0, 0};
        character = character << 6 | (byte(at + i) & 0x3F);
    }
    constexpr std::array<std::uint32_t, 5> SMALLEST{0, 0, 0x80, 0x800, 0x10000}; // smaller ones are over-long
    const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
    if (character < SMALLEST[length] || surrogate || character > 0x10FFFF)
        return {0, 0};
    return {character, length};
}

std::uint8_t ByteOf(std::uint32_t character) {
    if (character < 0x80 || (character >= 0xA0 && character <= 0xFF))
        return std::uint8_t(character);
    for (std::size_t i = 0; i < UPPER_CONTROLS.size(); ++i)
        if (UPPER_CONTROLS[i] == character)
            return std::uint8_t(0x80 + i);
    return '?';
}

template <class Change> std::string Mapped(std::string_view text, Change change) {
    std::string mapped(text);
    for (char& character : mapped)
        character = change(character);
    return mapped;
}

bool IsBlank(char character) {
    return character == ' ' || character == '\t' || character == '\r' || character == '\n';
}

} // namespace

std::string TextFromAnsi(const std::uint8_t* bytes, std::size_t count) {
    std::string text;
    text.reserve(count);
    for (std::size_t i = 0; i < count; ++i)
        AppendUtf8(text, CharacterOf(bytes[i]));
    return text;
}

std::string TextFromAnsi(const ByteArray& bytes) {
    return TextFromAnsi(bytes.data(), bytes.size());
}

ByteArray AnsiFromText(std::string_view text) {
    ByteArray bytes;
    bytes.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const auto [character, length] = DecodeUtf8(text, at);
        bytes.push_back(length == 0 ? std::uint8_t(text[at]) : ByteOf(character));
        at += length == 0 ? 1 : length;
    }
    return bytes;
}

std::string UpperCase(std::string_view text) {
    return Mapped(text, [](char c) { return c >= 'a' && c <= 'z' ? char(c - 'a' + 'A') : c; });
}

std::string LowerCase(std::string_view text) {
    return Mapped(text, [](char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; });
}

std::string Trim(std::string_view text) {
    const std::size_t first = text.find_first_not_of(' ');
    return first == std::string_view::npos ? std::string()
                                           : std::string(text.substr(first, text.find_last_not_of(' ') - first + 1));
}

double LeadingNumber(std::string_view text) {
    std::string number;
    bool point = false;
    for (const char c : text) {
        if (IsBlank(c))
            continue; // blanks don't end a number
        if (c == '+' && number.empty())
            continue;
        if (c == '.' && !point)
            point = true;
        else if (!(c >= '0' && c <= '9') && !(number.empty() && c == '-'))
            break;
        number += c;
    }
    double value = 0;
    std::from_chars(number.data(), number.data() + number.size(), value); // independent of the locale
    return value;
}

std::int32_t NumberFromText(std::string_view text) {
    std::string number = Trim(text);
    if (number.size() > 1 && number[0] == '+' && number[1] != '-')
        number.erase(0, 1);
    const bool decimal = number.find_first_not_of("0123456789+-.eE") == std::string::npos; // no "inf", no "nan"
    double value = 0;
    const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), value);
    if (!decimal || error == std::errc::invalid_argument || end != number.data() + number.size())
        Raise(TYPE_MISMATCH, DescriptionOf(TYPE_MISMATCH));
    if (error == std::errc::result_out_of_range || value < -2147483648.5 || value >= 2147483647.5)
        Raise(OVERFLOW_FAILURE, DescriptionOf(OVERFLOW_FAILURE));
    return std::int32_t(std::nearbyint(value)); // halves go to the even neighbour
}

} // namespace platform

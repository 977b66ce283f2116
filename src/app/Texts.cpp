// Text out of bytes and dates, and bytes out of text.
#include "CodePage.h"
#include "Failure.h"
#include "basUtils.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

namespace basUtils {

namespace {

constexpr std::int32_t INVALID_HEX_STRING = 30742;
constexpr std::int32_t DEFAULT_COLUMN_WIDTH = 4;

// Every `searched` in `text`, which is compared without regard to case, becomes `replacement`.
std::string Replaced(std::string_view text, std::string_view searched, std::string_view replacement) {
    const std::string lowered = platform::LowerCase(text);
    const std::string loweredSearched = platform::LowerCase(searched);
    std::string result;
    std::size_t position = 0;
    for (std::size_t found; (found = lowered.find(loweredSearched, position)) != std::string::npos;
         position = found + searched.size()) {
        result += text.substr(position, found - position);
        result += replacement;
    }
    result += text.substr(position);
    return result;
}

// 13 is "type mismatch", as for any text that isn't a number.
std::uint8_t HexDigit(char character) {
    if (character >= '0' && character <= '9')
        return static_cast<std::uint8_t>(character - '0');
    const char lower = static_cast<char>(character | 0x20);
    if (lower < 'a' || lower > 'f')
        platform::Raise(platform::TYPE_MISMATCH, "Type mismatch");
    return static_cast<std::uint8_t>(lower - 'a' + 10);
}

// The `width` bytes that end behind element `end`. In a short last line they reach back into the
// line before, so that a text never loses its beginning.
std::string CharacterColumn(const ByteArray& bytes, std::size_t end, std::size_t width) {
    const std::size_t start = end - std::min(end, width);
    ByteArray shown(bytes.begin() + static_cast<std::ptrdiff_t>(start),
                    bytes.begin() + static_cast<std::ptrdiff_t>(end));
    std::replace(shown.begin(), shown.end(), std::uint8_t{0}, std::uint8_t{21});
    return platform::TextFromAnsi(shown);
}

} // namespace

std::string FormatHex(std::uint32_t value, std::string_view hexTemplate) {
    const bool prefixed = hexTemplate.starts_with("0x");
    const std::size_t length = hexTemplate.size() - (prefixed ? 2 : 0);
    const std::string digits = fmt::format("{:0{}X}", value, length);
    return (prefixed ? "0x" : "") + digits.substr(digits.size() - length);
}

std::string ByteArrayToHexString(const std::uint8_t* bytes, std::size_t count, std::int32_t groupSize) {
    constexpr char DIGITS[] = "0123456789ABCDEF";
    const auto group = static_cast<std::size_t>(std::max(groupSize, 1));
    std::string text;
    text.reserve(count * 3);
    for (std::size_t i = 0; i < count; ++i) {
        if (i > 0 && i % group == 0)
            text += ' ';
        text += DIGITS[bytes[i] >> 4];
        text += DIGITS[bytes[i] & 15];
    }
    return text;
}

std::string ByteArrayToHexString(const ByteArray& bytes, std::int32_t groupSize) {
    return ByteArrayToHexString(bytes.data(), bytes.size(), groupSize);
}

std::int32_t HexString2Ascii(std::string_view hex, ByteArray& bytes) {
    bytes.assign(1, 0);
    std::string digits(hex);
    // The prefixes in either case: the command line comes in capitals.
    for (std::string_view removed : {" ", "0x", "&H", "\r", "\n"})
        digits = Replaced(digits, removed, "");
    if (digits.empty())
        return -1;
    if (digits.size() % 2 != 0) {
        platform::Raise(INVALID_HEX_STRING,
                        "Error: invalid hex string - 2 chars per byte - this one is not divisible by 2: '" + digits +
                            "'",
                        "basUtils.HexString2Ascii");
    }
    ByteArray decoded;
    decoded.reserve(digits.size() / 2);
    for (std::size_t i = 0; i < digits.size(); i += 2)
        decoded.push_back(static_cast<std::uint8_t>(HexDigit(digits[i]) << 4 | HexDigit(digits[i + 1])));
    bytes = std::move(decoded);
    return 1;
}

bool IsNumericText(std::string_view text) {
    return !text.empty() && text[0] >= '0' && text[0] <= '9';
}

std::string GetOption(std::string_view options, std::string_view name) {
    std::string compact(options);
    std::erase(compact, ' ');
    const std::string opening = fmt::format("<{}=", name);
    const std::size_t found = compact.find(opening);
    if (found == std::string::npos)
        return {};
    const std::size_t start = found + opening.size();
    const std::size_t end = compact.find('>', start);
    return end == std::string::npos ? std::string() : compact.substr(start, end - start);
}

std::string FormatHexDump(std::uint32_t startAddress, const ByteArray& bytes, std::string_view options) {
    const double wished = platform::LeadingNumber(GetOption(options, "columnwidth"));
    const std::size_t width = wished >= 1 && wished <= 65535 ? static_cast<std::size_t>(wished) : DEFAULT_COLUMN_WIDTH;
    std::string text;
    for (std::size_t lineStart = 0; lineStart < bytes.size(); lineStart += width) {
        const std::size_t count = std::min(width, bytes.size() - lineStart);
        text += fmt::format("0x{:X}: ", static_cast<std::uint32_t>(startAddress + lineStart));
        text += ByteArrayToHexString(bytes.data() + lineStart, count) + ' ';
        text.append(3 * (width - count), ' ');
        text += CharacterColumn(bytes, lineStart + count, width) + "\r\n";
    }
    return text;
}

std::string FormatSystemTime(const platform::SystemTime& systemTime, std::string_view format) {
    const platform::SystemTime& t = systemTime;
    const std::pair<std::string_view, std::string> replacements[] = {
        {"yyyy", fmt::format("{}", t.Year)},
        {"yy", fmt::format("{:02}", t.Year % 100)},
        {"mmm", "mm"},
        {"mm", fmt::format("{:02}", t.Month)},
        {"m", fmt::format("{}", t.Month)},
        {"ddd", "dd"},
        {"dd", fmt::format("{:02}", t.Day)},
        {"d", fmt::format("{}", t.Day)},
        {"hh", fmt::format("{:02}", t.Hour)},
        {"h", fmt::format("{}", t.Hour)},
        {"nn", fmt::format("{:02}", t.Minute)},
        {"n", fmt::format("{}", t.Minute)},
        {"ss", fmt::format("{:02}", t.Second)},
        {"s", fmt::format("{}", t.Second)},
    };
    std::string text(format);
    for (const auto& [letters, value] : replacements)
        text = Replaced(text, letters, value);
    return text;
}

std::string FormatWinDateTime(platform::FileTime fileTime, std::string_view format) {
    platform::SystemTime systemTime;
    if (!platform::FileTimeToSystemTime(fileTime, systemTime))
        return "Error in basUtils.FormatWinDateTime";
    return FormatSystemTime(systemTime, format);
}

} // namespace basUtils

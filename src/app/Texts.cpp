// Text from bytes and dates, and bytes from text.
#include "CodePage.h"
#include "Failure.h"
#include "basUtils.h"

#include <fmt/compile.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <vector>

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

constexpr char DIGITS[] = "0123456789ABCDEF";

// One line of a hex dump after another, through tables and one buffer: a megabyte is 262,144 lines.
class HexDumpWriter {
public:
    HexDumpWriter(const ByteArray& bytes, std::size_t width)
        : bytes_(bytes), width_(width), line_(MOST_OF_ADDRESS + (3 + MOST_OF_CHARACTER) * width) {
        for (std::size_t i = 0; i < characters_.size(); ++i) {
            const auto byte = static_cast<std::uint8_t>(i == 0 ? 21 : i);
            const std::string text = platform::TextFromAnsi(&byte, 1);
            characters_[i].length = static_cast<std::uint8_t>(text.copy(characters_[i].utf8, MOST_OF_CHARACTER));
        }
    }

    std::string_view Line(std::uint32_t address, std::size_t lineStart) {
        const std::size_t lineEnd = std::min(lineStart + width_, bytes_.size());
        char* to = fmt::format_to(line_.data(), FMT_COMPILE("0x{:X}: "), address);
        for (std::size_t i = lineStart; i < lineEnd; ++i) {
            *to++ = DIGITS[bytes_[i] >> 4];
            *to++ = DIGITS[bytes_[i] & 15];
            *to++ = ' ';
        }
        to = std::fill_n(to, 3 * (lineStart + width_ - lineEnd), ' ');
        // The `width` bytes that end with the line. In a short last line they reach back into the
        // line before, so that a text never loses its beginning.
        for (std::size_t i = lineEnd - std::min(lineEnd, width_); i < lineEnd; ++i)
            to = Write(to, characters_[bytes_[i]]);
        *to++ = '\r';
        *to++ = '\n';
        return {line_.data(), static_cast<std::size_t>(to - line_.data())};
    }

private:
    static constexpr std::size_t MOST_OF_ADDRESS = sizeof("0xFFFFFFFF: \r\n");
    static constexpr std::size_t MOST_OF_CHARACTER = 3; // UTF-8 of the ANSI code page
    struct Character {
        char utf8[MOST_OF_CHARACTER] = {};
        std::uint8_t length = 0;
    };
    static char* Write(char* to, const Character& character) {
        std::copy_n(character.utf8, MOST_OF_CHARACTER, to); // all of it: quicker than a loop over its length
        return to + character.length;
    }

    const ByteArray& bytes_;
    std::size_t width_;
    std::vector<char> line_;
    std::array<Character, 256> characters_;
};

} // namespace

std::string FormatHex(std::uint32_t value, std::string_view hexTemplate) {
    const bool prefixed = hexTemplate.starts_with("0x");
    const std::size_t length = hexTemplate.size() - (prefixed ? 2 : 0);
    const std::string digits = fmt::format("{:0{}X}", value, length);
    return (prefixed ? "0x" : "") + digits.substr(digits.size() - length);
}

std::string ByteArrayToHexString(const std::uint8_t* bytes, std::size_t count, std::int32_t groupSize) {
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
    return HexDumpLines(startAddress, bytes, width, 0, (bytes.size() + width - 1) / width);
}

std::string HexDumpLines(std::uint32_t startAddress, const ByteArray& bytes, std::size_t width, std::size_t firstLine,
                         std::size_t lineCount) {
    HexDumpWriter writer(bytes, width);
    std::string text;
    text.reserve(lineCount * (14 + 4 * width)); // address, digits, characters, line end
    for (std::size_t line = firstLine; line < firstLine + lineCount; ++line)
        text += writer.Line(static_cast<std::uint32_t>(startAddress + line * width), line * width);
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

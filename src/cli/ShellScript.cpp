#include "ShellScript.h"

#include "CodePage.h"
#include "Failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <tuple>
#include <utility>

namespace cli {

namespace {

constexpr std::size_t MOST_SEARCHED = 4096;

void Append(ByteArray& bytes, const ByteArray& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

// The byte of the escape that `text` begins with, after its backslash; taken away.
std::uint8_t TakeEscape(std::string_view& text, const std::string& typed) {
    constexpr std::string_view LETTERS = "rntae0\\", BYTES("\r\n\t\a\x1B\0\\", 7);
    const std::size_t letter = text.empty() ? std::string_view::npos : LETTERS.find(text.front());
    if (letter != std::string_view::npos) {
        text.remove_prefix(1);
        return static_cast<std::uint8_t>(BYTES[letter]);
    }
    std::uint8_t byte = 0;
    const char* const end = text.data() + std::min<std::size_t>(text.size(), 3);
    if (!text.starts_with('x') || std::from_chars(text.data() + 1, end, byte, 16).ptr != text.data() + 3)
        platform::Raise(
            platform::INVALID_CALL,
            fmt::format("\"{}\" has a backslash without r, n, t, a, e, 0, xHH or another backslash", typed));
    text.remove_prefix(3);
    return byte;
}

// Of the last character, when it is incomplete.
std::size_t IncompleteBytes(const std::string& text) {
    for (std::size_t back = 1; back <= std::min<std::size_t>(text.size(), 3); ++back) {
        const auto byte = static_cast<unsigned char>(text[text.size() - back]);
        if (byte >= 0xC0) {
            const std::size_t length = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : 2;
            return back < length ? back : 0;
        }
        if (byte < 0x80)
            return 0;
    }
    return 0;
}

} // namespace

ShellSend ParseSend(const std::string& typed) {
    ShellSend send{typed, {}};
    std::string_view text = typed;
    while (!text.empty()) {
        const std::size_t plain = std::min(text.find('\\'), text.size());
        Append(send.bytes, platform::AnsiFromText(text.substr(0, plain)));
        text.remove_prefix(plain);
        if (!text.empty()) {
            text.remove_prefix(1);
            send.bytes.push_back(TakeEscape(text, typed));
        }
    }
    if (send.bytes.empty() || send.bytes == ByteArray{0})
        platform::Raise(platform::INVALID_CALL, "an empty text or a single character 0 can't be sent");
    return send;
}

// With whatever comes before it, so that one pass over the text is enough.
ShellExpect ParseExpect(const std::string& typed) {
    constexpr auto FLAGS = std::regex::ECMAScript | std::regex::multiline | std::regex_constants::__polynomial;
    const ByteArray bytes = platform::AnsiFromText(typed);
    const std::string pattern(bytes.begin(), bytes.end());
    try {
        std::ignore = std::regex(pattern, FLAGS); // by itself, since the group could complete a half of one
        return {typed, std::regex("[\\s\\S]*?(?:" + pattern + ")", FLAGS)};
    } catch (const std::regex_error&) {
        platform::Raise(platform::INVALID_CALL,
                        fmt::format("\"{}\" isn't a regular expression that can be searched for", typed));
    }
}

void ShellReceived::Append(const ByteArray& bytes) {
    text_.append(bytes.begin(), bytes.end());
    if (text_.size() > MOST_SEARCHED)
        text_.erase(0, text_.size() - MOST_SEARCHED);
}

bool ShellReceived::Take(const ShellExpect& expected) {
    std::smatch match;
    if (!std::regex_search(text_, match, expected.pattern, std::regex_constants::match_continuous))
        return false;
    text_ = match.suffix();
    return true;
}

ByteArray ShellTyping::Take(std::string_view text) {
    std::string whole = std::exchange(rest_, {}) + std::string(text);
    const std::size_t incomplete = IncompleteBytes(whole);
    rest_ = whole.substr(whole.size() - incomplete);
    whole.resize(whole.size() - incomplete);
    ByteArray bytes;
    for (const std::uint8_t byte : platform::AnsiFromText(whole)) {
        const bool lineFeed = convertsLineEnds_ && byte == '\n';
        if (!lineFeed || !afterReturn_)
            bytes.push_back(lineFeed ? '\r' : byte);
        afterReturn_ = byte == '\r';
    }
    return bytes;
}

ByteArray ShellTyping::TakeRest() {
    return platform::AnsiFromText(std::exchange(rest_, {}));
}

} // namespace cli

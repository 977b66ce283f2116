#include "CneText.h"

#include "CodePage.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

namespace cneText {

namespace {

constexpr std::string_view CUT = "\r\n*** The text is cut here: the data goes on. ***\r\n";

// The length of the line end at `at`, which is a NUL or CR LF; 0 for any other byte.
std::size_t LineEndAt(const ByteArray& bytes, std::size_t at) {
    if (at >= bytes.size())
        return 0;
    if (bytes[at] == 0)
        return 1;
    return bytes[at] == '\r' && at + 1 < bytes.size() && bytes[at + 1] == '\n' ? 2 : 0;
}

class Writer {
public:
    void Byte(std::uint8_t byte) {
        if (byte == ']') {
            --depth_;
            return;
        }
        if (byte == '[')
            ++depth_;
        if (lineLength_ == LONGEST_LINE)
            NewLine();
        ansi_.push_back(byte == '[' ? '+' : byte);
        ++lineLength_;
    }

    // The first string of a pair starts a line, the second follows it.
    void LineEnd() {
        const bool beforeKey = lineEnds_++ % 2 == 0;
        if (depth_ > 0 && !beforeKey)
            return Byte('=');
        NewLine();
        if (depth_ <= 0)
            return;
        Append("  ");
        for (std::size_t i = std::min(static_cast<std::size_t>(depth_), DEEPEST_INDENT); i > 0; --i)
            Append("| ");
    }

    bool full() const { return ansi_.size() > LONGEST_TEXT; }
    std::string Text() const { return platform::TextFromAnsi(ansi_); }

private:
    void Append(std::string_view text) { ansi_.insert(ansi_.end(), text.begin(), text.end()); }
    void NewLine() {
        Append("\r\n");
        lineLength_ = 0;
    }

    ByteArray ansi_;
    std::int64_t depth_ = 0; // of groups; negative if more were closed than opened
    std::size_t lineEnds_ = 0, lineLength_ = 0;
};

} // namespace

std::string TextOf(const ByteArray& cne) {
    Writer writer;
    for (std::size_t at = 0; at < cne.size();) {
        if (writer.full())
            return writer.Text() + std::string(CUT);
        const std::size_t lineEnd = LineEndAt(cne, at);
        if (lineEnd == 0) {
            writer.Byte(cne[at++]);
            continue;
        }
        at += lineEnd;
        // A bracket between two line ends belongs to the line before; the second line end then doesn't begin another
        // such group of three.
        const bool closes = at < cne.size() && cne[at] == ']';
        if (const std::size_t second = closes ? LineEndAt(cne, at + 1) : 0; second > 0) {
            writer.Byte(']');
            at += 1 + second;
        }
        writer.LineEnd();
    }
    return writer.Text();
}

} // namespace cneText

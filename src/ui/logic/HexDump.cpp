#include "HexDump.h"

#include "CodePage.h"
#include "Failure.h"
#include "basUtils.h"

#include <algorithm>

namespace hexDump {

namespace {

std::string_view View(const ByteArray& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::optional<Range> FindFrom(const ByteArray& bytes, const std::vector<ByteArray>& sought, std::size_t start) {
    std::optional<Range> first;
    for (const ByteArray& wanted : sought) {
        const std::size_t found = View(bytes).find(View(wanted), start);
        if (found != std::string_view::npos && (!first || found < first->begin))
            first = Range{found, found + wanted.size()};
    }
    return first;
}

// The last one that begins before `end`.
std::optional<Range> FindBefore(const ByteArray& bytes, const std::vector<ByteArray>& sought, std::size_t end) {
    std::optional<Range> last;
    for (const ByteArray& wanted : sought) {
        const std::size_t found = end == 0 ? std::string_view::npos : View(bytes).rfind(View(wanted), end - 1);
        if (found != std::string_view::npos && (!last || found > last->begin))
            last = Range{found, found + wanted.size()};
    }
    return last;
}

} // namespace

std::int32_t ColumnsOfWidth(std::int32_t width) {
    constexpr std::int32_t ADDRESS = 800, BYTE = 480, STEP = 4; // twips, twips, bytes
    return std::max((width - ADDRESS) / BYTE / STEP * STEP, STEP);
}

std::vector<ByteArray> SoughtBytes(std::string_view text) {
    if (text.empty())
        return {};
    std::vector<ByteArray> sought{platform::AnsiFromText(text)};
    platform::Attempt(
        [&] {
            ByteArray bytes;
            if (basUtils::HexString2Ascii(text, bytes) == 1)
                sought.push_back(bytes);
        },
        platform::IgnoreFailure); // it isn't hex
    return sought;
}

std::optional<Range> Find(const ByteArray& bytes, const std::vector<ByteArray>& sought, std::size_t start,
                          bool backward) {
    const auto find = [&](std::size_t from) {
        return backward ? FindBefore(bytes, sought, from) : FindFrom(bytes, sought, from);
    };
    const std::optional<Range> found = find(start);
    return found ? found : find(backward ? bytes.size() : 0);
}

} // namespace hexDump

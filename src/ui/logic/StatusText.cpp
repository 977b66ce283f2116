#include "StatusText.h"

#include "Levels.h"

#include <fmt/format.h>

#include <algorithm>

namespace statusText {

namespace {

struct LevelLook {
    std::int32_t level;
    std::uint32_t onLight, onDark;
    Mark mark;
    bool wholeRow;
};

// A contrast of at least 4.5 to 1 on white and on the dark greys of desktop themes.
constexpr std::array<LevelLook, LEVELS> LOOKS{{
    {LEVEL_DETAIL, 0x6A6A6A, 0xA6A6A6, {0, 0, 0.35, 0}, false},    // a dot
    {LEVEL_MUTEX, 0x6F5A8C, 0xB9A3DB, {4, 45, 0.6, 0}, false},     // a small square
    {LEVEL_TRACE, 0x303030, 0xDDDDDD, {3, 0, 0.7, 0}, false},      // an arrow head to the right
    {LEVEL_WARNING, 0x8A5600, 0xFFBF4A, {3, -90, 1.1, '!'}, true}, // a warning sign
    {LEVEL_WATCH, 0x0B62B0, 0x6CB4FF, {4, 0, 0.95, 0}, false},     // a diamond
    {LEVEL_ERROR, 0xC01020, 0xFF8080, {0, 0, 0.95, 'x'}, true},
    {LEVEL_USER, 0x1B7032, 0x74D68A, {0, 0, 0.95, 'i'}, false},
    {LEVEL_FATAL, 0x8B0A8B, 0xFF8CFF, {8, 22, 1, '!'}, true}, // a stop sign
}};

} // namespace

const std::array<std::int32_t, LEVELS> LEVEL_NUMBERS = [] {
    std::array<std::int32_t, LEVELS> numbers{};
    std::ranges::transform(LOOKS, numbers.begin(), &LevelLook::level);
    return numbers;
}();

Look LookOf(std::int32_t level, bool dark) {
    auto above = std::ranges::upper_bound(LOOKS, level, {}, &LevelLook::level);
    const LevelLook& look = above == LOOKS.begin() ? LOOKS.front() : *std::prev(above);
    return {dark ? look.onDark : look.onLight, look.mark, look.wholeRow};
}

std::string FilterText(std::int32_t level) {
    const std::string name = basDebug::GetLevelName(level);
    return level == LEVEL_FATAL ? name + " only" : name + " and above";
}

std::string NumberText(std::int32_t index) {
    return index == 0 ? "" : fmt::format("Status window {} (starts empty)", index + 1);
}

std::string CountText(int shown, int total) {
    return fmt::format("{} of {} shown", shown, total);
}

std::string Hint(std::int32_t index, int shown, int total) {
    if (shown > 0)
        return {};
    if (total > 0)
        return fmt::format("The filters below hide all {} messages.", total);
    if (index == 0)
        return {};
    return fmt::format("Status window {} starts empty.  From now on it shows what the device list has to say; the "
                       "messages of everything else go to the first status window.",
                       index + 1);
}

} // namespace statusText

// What a status window decides, without a widget: how a level looks, and what its strip and its empty grid say.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace statusText {

// A filled shape, for users who can't tell the colours apart.
struct Mark {
    int sides;     // of a regular polygon, 0 for a circle
    int degrees;   // by which its first corner is turned clockwise from the right
    double radius; // 1 fills the icon
    char sign;     // in its middle, 0 for none
};

struct Look {
    std::uint32_t colour; // 0xRRGGBB
    Mark mark;
    bool wholeRow; // the colour is that of the whole row, not just of the level
};
// On a light or dark background; a level without a name looks like the one below it.
Look LookOf(std::int32_t level, bool dark);

// The levels that have a name and a look, ascending.
inline constexpr std::size_t LEVELS = 8;
extern const std::array<std::int32_t, LEVELS> LEVEL_NUMBERS;

// The entry of the level filter that hides the rows below a level.
std::string FilterText(std::int32_t level);

// Which status window this is; empty for the first, which needs no number. `index` counts from 0.
std::string NumberText(std::int32_t index);
// How many rows the filters leave.
std::string CountText(int shown, int total);
// Why a grid has no rows; empty if it has some, or if there is nothing to say.
std::string Hint(std::int32_t index, int shown, int total);

} // namespace statusText

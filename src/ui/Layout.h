// The arithmetic of window places and layouts, without a widget. Twips are 15 to a pixel, here and
// nowhere else.
#pragma once

#include "basApp.h"

#include <cstdint>
#include <string>
#include <vector>

namespace layout {

inline constexpr std::int32_t TWIPS_PER_PIXEL = 15;
inline std::int32_t Twips(std::int32_t pixels) {
    return pixels * TWIPS_PER_PIXEL;
}
inline std::int32_t Pixels(std::int32_t twips) {
    return twips / TWIPS_PER_PIXEL;
}

struct Rectangle {
    std::int32_t Left = 0, Top = 0, Width = 0, Height = 0;
    bool operator==(const Rectangle&) const = default;
};

// One control as it stood at the snapshot.
struct ControlLayout {
    std::string Name;
    std::int32_t Top = 0, Left = 0, Height = 0, Width = 0;
    bool FixedTop = false, FixedLeft = false, FixedHeight = false, FixedWidth = false;
};

// Every measure that isn't fixed, from the snapshot times the ratios; fixed ones from `present`.
Rectangle Scaled(const ControlLayout& control, double widthRatio, double heightRatio, const Rectangle& present);

// The record of that name: the one behind the last match first, then all from 1; 0 for none.
// Element 0 is unused.
std::size_t FindControl(const std::vector<ControlLayout>& controls, std::size_t lastMatch, const std::string& name);

// Tiling: three shares of the client height for the first window, one for each status window.
std::vector<Rectangle> Tile(std::int32_t clientWidth, std::int32_t clientHeight, std::size_t statusWindows);

// Scaling with the client area; 0 in a last measure leaves that direction alone.
Rectangle ScaleWithClient(const Rectangle& place, std::int32_t clientWidth, std::int32_t clientHeight,
                          std::int32_t lastClientWidth, std::int32_t lastClientHeight);

} // namespace layout

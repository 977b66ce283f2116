// The arithmetic of window places and layouts, without a widget.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace layout {

inline constexpr std::int32_t TWIPS_PER_PIXEL = 15;
// Clamped, since a stored place can hold any number.
inline std::int32_t Twips(std::int64_t pixels) {
    return std::int32_t(std::clamp<std::int64_t>(pixels, -1'000'000, 1'000'000)) * TWIPS_PER_PIXEL;
}
inline std::int32_t Pixels(std::int32_t twips) {
    return twips / TWIPS_PER_PIXEL;
}

struct Rectangle {
    std::int32_t Left = 0, Top = 0, Width = 0, Height = 0;
    bool operator==(const Rectangle&) const = default;
};
// In twips, of edges in pixels.
inline Rectangle FromEdges(std::int32_t top, std::int32_t left, std::int32_t bottom, std::int32_t right) {
    return {Twips(left), Twips(top), Twips(std::int64_t{right} - left), Twips(std::int64_t{bottom} - top)};
}

// One control at the time of the snapshot.
struct ControlLayout {
    std::string Name;
    std::int32_t Top = 0, Left = 0, Height = 0, Width = 0;
    bool FixedTop = false, FixedLeft = false, FixedHeight = false, FixedWidth = false;
};

// The snapshot times the ratios; fixed measures from `present`.
Rectangle Scaled(const ControlLayout& control, double widthRatio, double heightRatio, const Rectangle& present);

// The index of the record of that name: tries the one after the last match first, then all from 1. 0 if there is none;
// element 0 is unused.
std::size_t FindControl(const std::vector<ControlLayout>& controls, std::size_t lastMatch, const std::string& name);

// Tiling: three shares of the client height for the first window, one for each status window.
std::vector<Rectangle> Tile(std::int32_t clientWidth, std::int32_t clientHeight, std::size_t statusWindows);

// Scales a place with the client area; a last measure of 0 leaves that direction unchanged.
Rectangle ScaleWithClient(const Rectangle& place, std::int32_t clientWidth, std::int32_t clientHeight,
                          std::int32_t lastClientWidth, std::int32_t lastClientHeight);

} // namespace layout

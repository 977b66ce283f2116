#include "Layout.h"

#include <cmath>

namespace layout {

namespace {

std::int32_t Times(double ratio, std::int32_t measure) {
    return std::int32_t(std::lround(ratio * measure));
}

} // namespace

Rectangle Scaled(const ControlLayout& control, double widthRatio, double heightRatio, const Rectangle& present) {
    return {control.FixedLeft ? present.Left : Times(widthRatio, control.Left),
            control.FixedTop ? present.Top : Times(heightRatio, control.Top),
            control.FixedWidth ? present.Width : Times(widthRatio, control.Width),
            control.FixedHeight ? present.Height : Times(heightRatio, control.Height)};
}

std::size_t FindControl(const std::vector<ControlLayout>& controls, std::size_t lastMatch, const std::string& name) {
    if (lastMatch + 1 < controls.size() && controls[lastMatch + 1].Name == name)
        return lastMatch + 1;
    for (std::size_t i = 1; i < controls.size(); ++i)
        if (controls[i].Name == name)
            return i;
    return 0;
}

std::vector<Rectangle> Tile(std::int32_t clientWidth, std::int32_t clientHeight, std::size_t statusWindows) {
    const auto shares = std::int64_t(statusWindows) + 3;
    std::vector<Rectangle> places{{0, 0, clientWidth, std::int32_t(clientHeight * 3LL / shares)}};
    for (std::size_t i = 0; i < statusWindows; ++i) {
        const std::int32_t top = places.back().Top + places.back().Height;
        places.push_back({0, top, clientWidth, std::int32_t(clientHeight / shares)});
    }
    return places;
}

Rectangle ScaleWithClient(const Rectangle& place, std::int32_t clientWidth, std::int32_t clientHeight,
                          std::int32_t lastClientWidth, std::int32_t lastClientHeight) {
    Rectangle scaled = place;
    if (lastClientHeight > 0) {
        const double factor = double(clientHeight) / lastClientHeight;
        scaled.Top = Times(factor, place.Top);
        scaled.Height = Times(factor, place.Height);
    }
    if (lastClientWidth > 0) {
        const double factor = double(clientWidth) / lastClientWidth;
        scaled.Left = Times(factor, place.Left);
        scaled.Width = Times(factor, place.Width);
    }
    return scaled;
}

} // namespace layout

#include "basApp.h"

namespace basApp {

namespace {

constexpr std::int32_t MINIMUM_SIZE = 100; // twips
constexpr std::int32_t HEIGHT_RESERVE = 25;

void EnsureMinimumSize(const std::string& name, WindowPlace& place) {
    if (place.Height < MINIMUM_SIZE) {
        StatusDisplay(LEVEL_TRACE, "The height of '{}' is below the minimum of 100.  Adjusting...", name);
        place.Height = MINIMUM_SIZE;
    }
    if (place.Width < MINIMUM_SIZE) {
        StatusDisplay(LEVEL_TRACE, "The width of '{}' is below the minimum of 100.  Adjusting...", name);
        place.Width = MINIMUM_SIZE;
    }
}

void ShrinkToArea(const std::string& name, WindowPlace& place, std::int32_t width, std::int32_t height) {
    if (place.Width > width) {
        StatusDisplay(LEVEL_WARNING, "'{}' is wider than the screen.  Adjusting...", name);
        place.Width = width;
    }
    if (place.Height > height) {
        StatusDisplay(LEVEL_TRACE, "'{}' is higher than the screen.  Adjusting...", name);
        place.Height = height;
    }
}

// The sums are 64 bits wide: the place comes from a stored layout, which can hold any number.
void MoveIntoArea(const std::string& name, WindowPlace& place, std::int32_t width, std::int32_t height) {
    if (place.Top < 0) {
        StatusDisplay(LEVEL_TRACE, "The top of '{}' is above the screen.  Adjusting...", name);
        place.Top = 0;
    }
    if (place.Left < 0) {
        StatusDisplay(LEVEL_TRACE, "The Left of '{}' is off the screen.  Adjusting...", name);
        place.Left = 0;
    }
    if (std::int64_t{place.Top} + place.Height >= height) {
        StatusDisplay(LEVEL_TRACE, "The bottom of '{}' is off the screen.  Adjusting...", name);
        place.Top = height - place.Height;
    }
    if (std::int64_t{place.Left} + place.Width > width) {
        StatusDisplay(LEVEL_TRACE, "The right side of '{}' is off the screen.  Adjusting...", name);
        place.Left = width - place.Width;
    }
}

} // namespace

WindowPlace VerifyFormPosition(const std::string& name, WindowPlace place, std::int32_t availableWidth,
                               std::int32_t availableHeight) {
    const std::int32_t height = availableHeight - HEIGHT_RESERVE;
    EnsureMinimumSize(name, place);
    ShrinkToArea(name, place, availableWidth, height);
    MoveIntoArea(name, place, availableWidth, height);
    return place;
}

} // namespace basApp

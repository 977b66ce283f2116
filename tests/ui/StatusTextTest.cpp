// What a status window decides without a widget.
#include "StatusText.h"
#include "Levels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <tuple>
#include <utility>

namespace {

double Luminance(std::uint32_t colour) {
    double sum = 0;
    for (const auto& [shift, share] : {std::pair(16, 0.2126), {8, 0.7152}, {0, 0.0722}}) {
        const double part = double(colour >> shift & 0xFF) / 255;
        sum += share * (part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4));
    }
    return sum;
}

TEST(StatusText, GivesEachLevelAMarkAndAColourThatIsReadableOnAnyBackground) {
    for (const std::uint32_t paper : {0xFFFFFFu, 0xF5F5F5u, 0x000000u, 0x353535u}) {
        const bool dark = paper < 0x808080;
        std::set<std::uint32_t> colours;
        std::set<std::tuple<int, int, double, char>> marks;
        for (std::int32_t level = LEVEL_DETAIL; level <= LEVEL_FATAL; level += 2) {
            const auto [colour, mark, wholeRow] = statusText::LookOf(level, dark);
            const double onPaper = Luminance(paper) + 0.05, ink = Luminance(colour) + 0.05;
            EXPECT_GE(std::max(onPaper, ink) / std::min(onPaper, ink), 4.5) << level << " on " << paper;
            colours.insert(colour);
            marks.emplace(mark.sides, mark.degrees, mark.radius, mark.sign);
        }
        EXPECT_EQ(colours.size(), statusText::LEVELS);
        EXPECT_EQ(marks.size(), statusText::LEVELS);
    }
    const std::pair<std::int32_t, std::int32_t> unnamed[] = {{-5, 1}, {0, 1}, {8, 7}, {99, 15}};
    for (const auto& [level, like] : unnamed)
        EXPECT_EQ(statusText::LookOf(level, false).colour, statusText::LookOf(like, false).colour);
}

TEST(StatusText, SaysWhyThereAreNoRows) {
    EXPECT_EQ(statusText::Hint(0, 0, 0), "");
    EXPECT_EQ(statusText::Hint(1, 2, 2), "");
    EXPECT_EQ(statusText::Hint(1, 0, 7), "The filters below hide all 7 messages.");
    EXPECT_TRUE(statusText::Hint(1, 0, 0).starts_with("Status window 2 starts empty."));
}

} // namespace

#include "AppTest.h"

namespace {

// Everything is logged, as with a main window.
class Probes : public AppTest {
protected:
    Probes() { basApp::globals.DebugLoggingLevel = 1; }
};

} // namespace

TEST_F(Probes, BringAWindowBackOntoItsArea) {
    constexpr std::int32_t FAR = 0x7FFFFFFF; // a stored layout can hold any number
    const std::string bottom = "5 The bottom of 'w' is off the screen|";
    // The area is 3000 wide and 2025 high, of which 25 are kept free.
    const std::tuple<basApp::WindowPlace, std::string, std::string> rows[] = {
        {{10, 20, 500, 600}, "10 20 500 600", ""},
        {{0, 0, 5, 6},
         "0 0 100 100",
         "5 The height of 'w' is below the minimum of 100|5 The width of 'w' is below the minimum of 100|"},
        {{-5, -6, 9000, 9000},
         "0 0 3000 2000",
         "7 'w' is wider than the screen|5 'w' is higher than the screen|5 The top of 'w' is above the screen|"
         "5 The Left of 'w' is off the screen|" +
             bottom},
        {{2500, 1400, 500, 600}, "2500 1400 500 600", bottom},
        {{FAR, FAR, 500, 600}, "2500 1400 500 600", bottom + "5 The right side of 'w' is off the screen|"},
    };
    for (const auto& [place, expected, adjusted] : rows) {
        log.clear();
        const basApp::WindowPlace brought = basApp::VerifyFormPosition("w", place, 3000, 2025);
        EXPECT_EQ(fmt::format("{} {} {} {}", brought.Left, brought.Top, brought.Width, brought.Height), expected);
        std::string told;
        for (const std::string& line : log) {
            ASSERT_TRUE(line.ends_with(".  Adjusting..."));
            told += line.substr(0, line.size() - 15) + '|';
        }
        EXPECT_EQ(told, adjusted);
    }
}

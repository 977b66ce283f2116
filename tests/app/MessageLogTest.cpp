#include "AppTest.h"

namespace {

// Status windows that show WARNING and above, a log, and a library's clock.
class MessageLog : public AppTest {
protected:
    MessageLog() {
        frontEnd.statusWindows = 3;
        frontEnd.statusWindowWants = [](std::size_t slot, std::int32_t level) { return slot != 1 && level >= 7; };
        frontEnd.postToStatusWindow = [this](std::size_t slot, std::string_view message, float time, std::int32_t level,
                                             std::string_view module) {
            reached.push_back(fmt::format("window {}: {} {} {} {}", slot, message, time, level, module));
        };
        basDebug::hooks.appendToLog = [this](std::string_view message, std::int32_t level, std::string_view module,
                                             std::int32_t time) {
            reached.push_back(fmt::format("log: {} {} {} {}", message, time, level, module));
        };
        basApp::hooks.queryElapsedTimeMs = [this](std::int64_t start) {
            return static_cast<float>(clock.Now() - start) / 1e6f;
        };
    }

    std::vector<std::string> reached;
};

using Reached = std::vector<std::string>;

} // namespace

TEST(Messages, HaveALevelAndATime) {
    using Row = std::pair<const char*, std::int32_t>;
    for (const auto& [text, number] :
         {Row{"11", 11}, Row{"some error here", 11}, Row{"ERROR DETAIL", 1}, Row{"watch", 9}, Row{"DLL DEBUG SPEW", 13},
          Row{"NONE", 17}, Row{"USER FATAL", 15}, Row{"", 5}, Row{"-3", 5}, Row{"99999999999", 2147483647}})
        EXPECT_EQ(basDebug::GetLevelNumber(text), number) << text;
    EXPECT_EQ(basDebug::GetLevelName(13), "USER");
    EXPECT_EQ(basDebug::GetLevelName(12), "unknown");
    EXPECT_EQ(basDebug::FormatRunTime(36'000'000 + 247'123), "10:04:07.123");
    EXPECT_EQ(basDebug::FormatRunTime(-1), "0:00:00.000");
}

TEST_F(MessageLog, DeliversAMessageByTheFilterOfEachDestination) {
    basDebug::Display("", 1, "dropped {}", 1); // but it starts the clock
    clock.Sleep(1'500'000);
    basDebug::Display("bas1394", 5, "node {}", 3);
    basDebug::Display("", 11, "broken");
    EXPECT_EQ(reached, (Reached{"log: node 3 2 5 bas1394", "window 0: broken 1.5 11 unspecified",
                                "log: broken 2 11 unspecified"}));
    EXPECT_EQ(windowSystem.beeps, 0);
    reached.clear();
    basApp::globals.DebugLoggingLevel = 17;
    frontEnd.statusWindowWants = nullptr;
    basDebug::Display("m", 15, "the end"); // beeps whatever the filters say
    EXPECT_EQ(windowSystem.beeps, 3);
    EXPECT_TRUE(reached.empty());
    basApp::hooks.queryElapsedTimeMs = nullptr; // no library
    frontEnd.statusWindowWants = [](auto&&...) { return true; };
    frontEnd.postToStatusWindow = [](auto&&...) { platform::Raise(91, "no window"); };
    basApp::globals.DebugLoggingLevel = 5;
    basDebug::Display("m", 11, "text");
    EXPECT_EQ(reached, Reached{"log: text 0 11 m"});
}

TEST_F(MessageLog, FormatsNothingThatIsFilteredOut) {
    const auto wantedFrom = [] {
        std::int32_t level = 1;
        while (!basDebug::Wanted(level))
            ++level;
        return level;
    };
    EXPECT_EQ(wantedFrom(), 5);
    basDebug::hooks.appendToLog = nullptr;
    EXPECT_EQ(wantedFrom(), 7);
    frontEnd.statusWindowWants = nullptr;
    EXPECT_EQ(wantedFrom(), 15);
    basApp::globals.PerformUnattendedOperations = true;
    EXPECT_EQ(wantedFrom(), 9);
}

TEST_F(MessageLog, OfTheMainWindowReachesEveryStatusWindowAndTakesTheLevelForTheModule) {
    basDebug::StatusDisplayOfMainWindow("a", "WARNING", "");
    basDebug::StatusDisplayOfMainWindow("b", "", "");
    EXPECT_EQ(reached, (Reached{"window 0: a 0 7 WARNING", "window 2: a 0 7 WARNING", "log: a 0 7 WARNING",
                                "log: b 0 5 unspecified"}));
    EXPECT_NE(basDebug::globals.MainWindowStartCount, 0);
    EXPECT_EQ(basDebug::globals.StartCount, 0); // they are separate clocks
}

TEST_F(MessageLog, IsAMessageBoxOrAStatusFileLineBeforeTheFrontEndIsOpen) {
    frontEnd.open = false;
    std::string line;
    basApp::hooks.writeStatusFileLine = [&](std::string_view text) { line = text; };
    basApp::StatusDisplay(9, "too low");
    basApp::StatusDisplay(11, "bad {}", 1);
    ASSERT_EQ(dialogs.shown.size(), 1u);
    EXPECT_EQ(dialogs.shown[0].text, "bad 1");
    EXPECT_EQ(dialogs.shown[0].caption, "basApp Message: ERROR level");
    basApp::globals.PerformUnattendedOperations = true;
    basApp::StatusDisplay(13, "to the file");
    EXPECT_EQ(line, "basApp Message: USER level");
    EXPECT_EQ(dialogs.shown.size(), 1u);
    EXPECT_TRUE(reached.empty());
}

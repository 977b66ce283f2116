#include "Clock.h"
#include "VirtualClock.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace {

constexpr std::int64_t SECOND = 1'000'000'000;

// Local time by the rules given.
void UseZone(const char* rules) {
    setenv("TZ", rules, 1);
    tzset();
}

TEST(FileTimes, CountHundredsOfNanosecondsFrom1601) {
    EXPECT_EQ(platform::FileTimeFromUnix(SECOND + 200), 116444736010000002);

    platform::SystemTime time;
    ASSERT_TRUE(platform::FileTimeToSystemTime(0, time));
    EXPECT_EQ(time, (platform::SystemTime{1601, 1, 1, 1, 0, 0, 0, 0})); // a Monday
    ASSERT_TRUE(platform::FileTimeToSystemTime(116444736000000000 + 9'870'000, time));
    EXPECT_EQ(time, (platform::SystemTime{1970, 1, 4, 1, 0, 0, 0, 987}));
    EXPECT_FALSE(platform::FileTimeToSystemTime(-1, time));
}

TEST(TimeZones, TellTheirStateAndConvertByTheRulesOfTheDateGiven) {
    platform::testing::VirtualClock clock;
    constexpr std::int64_t SUMMER = 1'030'795'200 * SECOND, WINTER = 1'041'379'200 * SECOND;
    const struct {
        const char* rules;
        std::int64_t now;
        std::uint32_t state;
    } cases[] = {{"CET-1CEST,M3.5.0,M10.5.0/3", SUMMER, 2},
                 {"CET-1CEST,M3.5.0,M10.5.0/3", WINTER, 1},
                 {"JST-9", SUMMER, 0},
                 {"UTC0", WINTER, 0}};
    for (const auto& row : cases) {
        UseZone(row.rules);
        clock.SetCalendar(row.now);
        EXPECT_EQ(platform::GetTimeZoneInformation(), row.state) << row.rules << " " << row.now;
    }
    UseZone("CET-1CEST,M3.5.0,M10.5.0/3");
    platform::SystemTime local;
    ASSERT_TRUE(platform::SystemTimeToTzSpecificLocalTime({2002, 12, 0, 31, 23, 30, 5, 6}, local));
    EXPECT_EQ(local, (platform::SystemTime{2003, 1, 3, 1, 0, 30, 5, 6}));
    ASSERT_TRUE(platform::SystemTimeToTzSpecificLocalTime({2003, 7, 0, 24, 10, 0, 0, 0}, local));
    EXPECT_EQ(local.Hour, 12);
    for (const platform::SystemTime& wrong : {platform::SystemTime{2003, 2, 0, 29, 0, 0, 0, 0},
                                              {2003, 13, 0, 1, 0, 0, 0, 0},
                                              {2003, 0, 0, 1, 0, 0, 0, 0},
                                              {2003, 1, 0, 1, 24, 0, 0, 0},
                                              {}})
        EXPECT_FALSE(platform::SystemTimeToTzSpecificLocalTime(wrong, local)) << wrong.Month << "/" << wrong.Day;
    UseZone("UTC0");
}

} // namespace

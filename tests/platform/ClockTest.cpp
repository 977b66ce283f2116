#include "Clock.h"
#include "VirtualClock.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace {

constexpr std::int64_t SECOND = 1'000'000'000;

// Sets the local time zone.
void UseZone(const char* rules) {
    setenv("TZ", rules, 1);
    tzset();
}

TEST(TimeZones, ReportTheirStateAndConvertByTheRulesOfTheGivenDate) {
    platform::testing::VirtualClock clock;
    constexpr std::int64_t SUMMER = 1'030'795'200 * SECOND, WINTER = 1'041'379'200 * SECOND;
    const std::tuple<const char*, std::int64_t, std::uint32_t> cases[] = {{"CET-1CEST,M3.5.0,M10.5.0/3", SUMMER, 2},
                                                                          {"CET-1CEST,M3.5.0,M10.5.0/3", WINTER, 1},
                                                                          {"JST-9", SUMMER, 0},
                                                                          {"UTC0", WINTER, 0}};
    for (const auto& [rules, now, state] : cases) {
        UseZone(rules);
        clock.SetCalendar(now);
        EXPECT_EQ(platform::GetTimeZoneInformation(), state) << rules << " " << now;
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

#include "Clock.h"
#include "ManualWindowSystem.h"
#include "VirtualClock.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

using platform::testing::ManualWindowSystem;
using platform::testing::VirtualClock;

TEST(PostedCalls, RunInOrderAtTheNextTurnEvenAcrossNestedTurnsAndFailures) {
    std::string order;
    platform::Post([&] {
        order += 'a';
        platform::Post([&] { order += 'd'; });
        platform::DoEvents();
    });
    platform::Post([&] { order += 'b'; });
    platform::Post([&] {
        order += 'c';
        throw std::runtime_error("failed");
    });
    EXPECT_EQ(order, "");
    EXPECT_THROW(platform::DoEvents(), std::runtime_error);
    platform::DoEvents();
    EXPECT_EQ(order, "abcd");
}

TEST(Timers, TickOnlyInATurnWhenDueAndNeverInsideTheirOwnTick) {
    const VirtualClock clock;
    ManualWindowSystem windows;
    std::string ticks;
    const auto slow = platform::MakeTimer(50, [&] { ticks += 's'; });
    const auto fast = platform::MakeTimer(20, [&] {
        ticks += 'f';
        platform::Sleep(100); // its next tick falls due while it runs
        platform::DoEvents();
    });
    fast->SetEnabled(true);
    platform::Sleep(19);
    platform::DoEvents();
    EXPECT_EQ(ticks, "");
    platform::Sleep(1);
    EXPECT_EQ(ticks, ""); // sleeping gives no turn
    slow->SetEnabled(true);
    platform::DoEvents();
    EXPECT_EQ(ticks, "fs");
    fast->SetEnabled(false);
    platform::Sleep(30);
    platform::DoEvents();
    EXPECT_EQ(ticks, "fs"); // one tick for all the time that has passed
}

} // namespace

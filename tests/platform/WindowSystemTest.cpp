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

TEST(Timers, MayBeRemovedByTheirOwnTickAndOutliveTheirWindowSystem) {
    const VirtualClock clock;
    std::unique_ptr<platform::Timer> removed, kept;
    {
        ManualWindowSystem windows;
        int ticks = 0;
        removed = platform::MakeTimer(5, [&] {
            removed.reset();
            ++ticks;
        });
        kept = platform::MakeTimer(5, [&] { ++ticks; });
        removed->SetEnabled(true);
        kept->SetEnabled(true);
        EXPECT_TRUE(windows.RunUntil([&] { return ticks == 4; }, 1000));
        EXPECT_EQ(removed, nullptr);
        EXPECT_FALSE(windows.RunUntil([] { return false; }, 10));
    }
    kept.reset();
}

} // namespace

#include "EventLoop.h"

#include "EndRequest.h"
#include "ManualWindowSystem.h"
#include "VirtualClock.h"

#include <gtest/gtest.h>

#include <csignal>
#include <stdexcept>
#include <string>
#include <thread>
#include <unistd.h>

namespace {

using platform::DescriptorEvent;

constexpr std::int64_t MILLISECOND = 1'000'000;

struct Pipe {
    Pipe() {
        if (pipe(ends) != 0)
            throw std::runtime_error("no pipe");
    }
    ~Pipe() {
        close(ends[0]);
        close(ends[1]);
    }
    void Write() const { ASSERT_EQ(write(ends[1], "x", 1), 1); }
    void Read() const {
        char byte = 0;
        ASSERT_EQ(read(ends[0], &byte, 1), 1);
    }
    int ends[2]{};
};

// Waiting lets virtual time pass; what it would have waited for is kept in milliseconds.
class VirtualLoop : public platform::EventLoop {
public:
    std::string waits;

private:
    void Wait(std::optional<std::int64_t> nanoseconds) override {
        waits += nanoseconds ? std::to_string(*nanoseconds / MILLISECOND) + " " : "unlimited ";
        if (nanoseconds)
            platform::CurrentClock().Sleep(*nanoseconds);
        else
            End(-1); // nothing could ever wake it
    }
};

TEST(TheEventLoop, SleepsUntilTheFirstTimerIsDueAndWithoutOneForAsLongAsNothingComes) {
    platform::testing::VirtualClock clock;
    VirtualLoop loop;
    std::string order;
    const auto slow = platform::MakeTimer(50, [&] { order += 's'; });
    std::unique_ptr<platform::Timer> fast;
    fast = platform::MakeTimer(20, [&] {
        order += 'f';
        if (order == "ffsff") {
            fast.reset();
            slow->SetEnabled(false);
        }
    });
    slow->SetEnabled(true);
    fast->SetEnabled(true);
    EXPECT_EQ(loop.Run(), -1);
    EXPECT_EQ(order, "ffsff");
    EXPECT_EQ(loop.waits, "20 20 10 10 20 unlimited ");
}

TEST(TheEventLoop, EndsAfterTheTurnInWhichATimerAsksForItOrBeforeItsFirst) {
    platform::testing::VirtualClock clock;
    VirtualLoop loop;
    const auto ends = platform::MakeTimer(5, [&] { loop.End(7); });
    ends->SetEnabled(true);
    EXPECT_EQ(loop.Run(), 7);
    EXPECT_EQ(loop.waits, "5 ");
    loop.End(3);
    EXPECT_EQ(loop.Run(), 3);
    EXPECT_EQ(loop.waits, "5 ");
}

TEST(TheEventLoop, LosesNoPostingToAFailureOrToAnotherThreadsTiming) {
    platform::EventLoop loop;
    platform::Post([&] {
        platform::Post([] { throw std::runtime_error("failed"); });
        platform::Post([&] { loop.End(1); });
        EXPECT_THROW(platform::DoEvents(), std::runtime_error);
    });
    EXPECT_EQ(loop.Run(), 1); // though nothing is posted any more

    constexpr int POSTS = 2000;
    int ran = 0;
    std::thread other([&] {
        for (int i = 0; i < POSTS; ++i)
            platform::Post([&] {
                if (++ran == POSTS)
                    loop.End();
            });
    });
    EXPECT_EQ(loop.Run(), 0);
    other.join();
}

TEST(TheEventLoop, IsWokenByDescriptorsAndGivesUpAClosedOne) {
    platform::EventLoop loop;
    const Pipe first, second;
    std::string order;
    std::unique_ptr<platform::DescriptorWatch> both, late;
    both = platform::WatchDescriptor(first.ends[0], DescriptorEvent::Readable, [&] {
        second.Read();
        platform::DoEvents(); // not into this call again
        first.Read();
        order += 'b';
    });
    late = platform::WatchDescriptor(second.ends[0], DescriptorEvent::Readable, [&] {
        second.Read(); // would wait for ever if called for what has been read already
        order += 'l';
        late.reset();
    });
    first.Write();
    second.Write();
    loop.Turn();
    EXPECT_EQ(order, "b");
    second.Write();
    loop.Turn();
    second.Write();
    loop.Turn();
    EXPECT_EQ(order, "bl");

    const auto writing = platform::WatchDescriptor(first.ends[1], DescriptorEvent::Writable, [&] { loop.End(2); });
    EXPECT_EQ(loop.Run(), 2);

    const int closed = dup(second.ends[0]);
    const auto doomed = platform::WatchDescriptor(closed, DescriptorEvent::Readable, [&] { order += 'c'; });
    close(closed);
    loop.Turn();
    const int reused = dup(second.ends[0]); // the number names another file, one that is readable
    ASSERT_EQ(reused, closed);
    loop.Turn();
    close(reused);
    EXPECT_EQ(order, "bl");
}

TEST(TheEventLoop, WakesForASignalToEndButNotForOneThatWasIgnoredFromTheStart) {
    platform::EventLoop loop;
    const auto before = std::signal(SIGHUP, SIG_IGN);
    platform::CatchEndSignals();
    std::raise(SIGHUP);
    EXPECT_FALSE(platform::EndRequested());
    for (const int number : {SIGTERM, SIGINT}) {
        const auto watch = platform::WatchDescriptor(platform::EndRequestDescriptor(), DescriptorEvent::Readable,
                                                     [&] { loop.End(number); });
        std::raise(number);
        EXPECT_TRUE(platform::EndRequested());
        EXPECT_EQ(loop.Run(), number);
        platform::ForgetEndRequest();
    }
    bool called = false;
    const auto watch =
        platform::WatchDescriptor(platform::EndRequestDescriptor(), DescriptorEvent::Readable, [&] { called = true; });
    loop.Turn();
    EXPECT_FALSE(called);
    for (const int number : {SIGTERM, SIGINT})
        std::signal(number, SIG_DFL);
    std::signal(SIGHUP, before);
}

TEST(Timers, TickInOrderOfDueTimeOnceATurnAndNeverInsideThemselves) {
    platform::testing::VirtualClock clock;
    platform::testing::ManualWindowSystem windowSystem;
    std::string order;
    std::unique_ptr<platform::Timer> early, late, removed, itself;
    late = platform::MakeTimer(30, [&] { order += 'l'; });
    early = platform::MakeTimer(10, [&] {
        order += 'e';
        removed.reset();
        clock.Sleep(40 * MILLISECOND);
        platform::DoEvents(); // the late one ticks in here, and isn't due any more afterwards
        order += '.';
    });
    removed = platform::MakeTimer(20, [&] { order += 'x'; });
    itself = platform::MakeTimer(25, [&] { itself.reset(), order += 'i'; });
    for (platform::Timer* timer : {early.get(), late.get(), removed.get(), itself.get()})
        timer->SetEnabled(true);
    clock.Sleep(35 * MILLISECOND);
    platform::DoEvents();
    EXPECT_EQ(order, "eil.");

    order.clear();
    const auto fails = platform::MakeTimer(1, [&] { throw std::runtime_error("failed"); });
    fails->SetEnabled(true);
    early->SetEnabled(false);
    late->SetEnabled(false);
    for (int turn = 0; turn < 2; ++turn) {
        clock.Sleep(MILLISECOND);
        EXPECT_THROW(platform::DoEvents(), std::runtime_error) << turn;
    }
}

} // namespace

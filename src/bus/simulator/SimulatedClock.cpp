#include "SimulatedClock.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <new>

namespace simulator {

// The kernel ends a sleep some 60 microseconds late, half a transaction. The end of a short sleep
// is therefore waited out awake.
static constexpr std::int64_t WAKE_UP_LATENESS = 80'000;

std::int64_t MonotonicNow() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

void RealClock::Sleep(std::int64_t nanoseconds) {
    const std::int64_t due = MonotonicNow() + nanoseconds;
    if (nanoseconds > WAKE_UP_LATENESS) {
        const std::int64_t early = due - WAKE_UP_LATENESS;
        const timespec until{static_cast<time_t>(early / 1'000'000'000), static_cast<long>(early % 1'000'000'000)};
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr);
    }
    while (MonotonicNow() < due) {
        std::this_thread::yield();
    }
}

void RealClock::CallAt(std::int64_t due, std::uint64_t ticket) {
    const std::lock_guard lock(mutex_);
    due_.emplace(due, ticket);
    changed_.notify_one();
}

void RealClock::Run() {
    if (!thread_.joinable()) {
        stopping_ = false;
        thread_ = std::thread([this] { Serve(); });
    }
}

void RealClock::Stop() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
        changed_.notify_one();
    }
    if (thread_.joinable()) {
        thread_.join();
    }
}

void RealClock::Serve() {
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        if (due_.empty()) {
            changed_.wait(lock);
            continue;
        }
        const auto first = due_.begin();
        if (first->first > MonotonicNow()) {
            const std::chrono::steady_clock::time_point until{std::chrono::nanoseconds(first->first)};
            changed_.wait_until(lock, until);
            continue;
        }
        const std::uint64_t ticket = first->second;
        due_.erase(first);
        lock.unlock();
        handler_(ticket);
        lock.lock();
    }
}

namespace {
// What travels through the caller's clock. The ticket may be of a bus that is gone by then, so it
// carries no pointer into it.
struct Errand {
    Clock::Handler handler;
    std::uint64_t ticket;
};

void RunErrand(void* argument) {
    const Errand errand = *static_cast<Errand*>(argument);
    delete static_cast<Errand*>(argument);
    errand.handler(errand.ticket);
}
} // namespace

void CallersClock::CallAt(std::int64_t due, std::uint64_t ticket) {
    clock_.CallAt(clock_.Context, due, &RunErrand, new Errand{handler_, ticket});
}

} // namespace simulator

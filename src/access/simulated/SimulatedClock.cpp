#include "SimulatedClock.h"

#include <chrono>
#include <ctime>

namespace simulator {

// The kernel ends a sleep 60 to 200 microseconds late, longer than a whole transaction. The end of a sleep is
// therefore a busy wait.
static constexpr std::int64_t WAKE_UP_LATENESS = 200'000;

std::int64_t MonotonicNow() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

static void* AsArgument(std::uint64_t ticket) {
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(ticket));
}

void RealClock::Sleep(std::int64_t nanoseconds) {
    const std::int64_t due = MonotonicNow() + nanoseconds;
    if (nanoseconds > WAKE_UP_LATENESS) {
        const std::int64_t early = due - WAKE_UP_LATENESS;
        const timespec until{static_cast<time_t>(early / 1'000'000'000), static_cast<long>(early % 1'000'000'000)};
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr);
    }
    while (MonotonicNow() < due)
        std::this_thread::yield();
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
    if (thread_.joinable())
        thread_.join();
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
        handler_(AsArgument(ticket));
        lock.lock();
    }
}

void CallersClock::CallAt(std::int64_t due, std::uint64_t ticket) {
    // The ticket is passed by value, not as a pointer: its bus may be gone when the call comes, and a clock that never
    // calls leaks nothing.
    clock_.CallAt(clock_.Context, due, handler_, AsArgument(ticket));
}

} // namespace simulator

// The clock of the simulated bus: the machine's, or one that the caller moves.
#pragma once

#include "Simulator.h"

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

namespace simulator {

// Nanoseconds of CLOCK_MONOTONIC.
std::int64_t MonotonicNow();

// Pending calls are identified by tickets; the handler is called when one is due.
class Clock {
public:
    using Handler = void (*)(void* ticket); // the number, cast to a pointer

    virtual ~Clock() = default;
    virtual std::int64_t Now() = 0;
    virtual void Sleep(std::int64_t nanoseconds) = 0;
    virtual void CallAt(std::int64_t due, std::uint64_t ticket) = 0;
    // The handler is called between Run and Stop; what falls due after Stop waits for the next Run.
    virtual void Run() {}
    virtual void Stop() {}
};

// Really sleeps; a thread that lives between Run and Stop calls the handler.
class RealClock final : public Clock {
public:
    explicit RealClock(Handler handler) : handler_(handler) {}
    ~RealClock() override { Stop(); }
    std::int64_t Now() override { return MonotonicNow(); }
    void Sleep(std::int64_t nanoseconds) override;
    void CallAt(std::int64_t due, std::uint64_t ticket) override;
    void Run() override;
    void Stop() override;

private:
    void Serve();

    Handler handler_;
    std::mutex mutex_; // taken after the library's lock, never before it
    std::condition_variable changed_;
    std::multimap<std::int64_t, std::uint64_t> due_;
    bool stopping_ = false;
    std::thread thread_;
};

// Without a thread: the caller's clock calls.
class CallersClock final : public Clock {
public:
    CallersClock(const SimulatorClock& clock, Handler handler) : clock_(clock), handler_(handler) {}
    std::int64_t Now() override { return clock_.Now(clock_.Context); }
    void Sleep(std::int64_t nanoseconds) override { clock_.Sleep(clock_.Context, nanoseconds); }
    void CallAt(std::int64_t due, std::uint64_t ticket) override;

private:
    SimulatorClock clock_;
    Handler handler_;
};

} // namespace simulator

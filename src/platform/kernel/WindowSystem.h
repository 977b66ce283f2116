// The window system as the layers below the windows see it: a turn, timers, and a way in for
// other threads. The program's runs on Qt and lives with the windows; without one, turns do
// nothing but run what was posted.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace platform {

// A repeating timer that ticks only while the window system has a turn. Off when made.
class Timer {
public:
    virtual ~Timer() = default;
    virtual void SetInterval(std::int32_t milliseconds) = 0;
    virtual std::int32_t Interval() const = 0;
    virtual void SetEnabled(bool enabled) = 0;
    virtual bool Enabled() const = 0;
};

class WindowSystem {
public:
    virtual ~WindowSystem() = default;
    // Dispatches what is pending (posted calls, due timers, window events), then returns.
    virtual void Turn() = 0;
    // Runs `call` at the next turn on the window thread, in the order of posting. Any thread.
    virtual void Post(std::function<void()> call) = 0;
    virtual std::unique_ptr<Timer> MakeTimer(std::function<void()> tick) = 0;
    virtual void Beep() = 0;
};

// Null puts the plain one back (posted calls only; its timers never tick).
void UseWindowSystem(WindowSystem* windowSystem);
WindowSystem& CurrentWindowSystem();

// The one place that gives the window system a turn.
void DoEvents();
void Post(std::function<void()> call);
std::unique_ptr<Timer> MakeTimer(std::int32_t intervalMilliseconds, std::function<void()> tick);
void Beep();

} // namespace platform

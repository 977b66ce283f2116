// The window system as the layers below the windows see it: turns, timers, descriptors, and a way in for other threads.
// The one of windows runs on Qt, EventLoop does without; without either, a turn only runs what was posted.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace platform {

// A repeating timer that ticks only in turns of the window system. Initially off.
class Timer {
public:
    virtual ~Timer() = default;
    virtual void SetInterval(std::int32_t milliseconds) = 0;
    virtual std::int32_t Interval() const = 0;
    virtual void SetEnabled(bool enabled) = 0;
    virtual bool Enabled() const = 0;
};

// A descriptor is watched for as long as this exists, which may end inside the call.
class DescriptorWatch {
public:
    virtual ~DescriptorWatch() = default;
};
enum class DescriptorEvent { Readable, Writable };

class WindowSystem {
public:
    virtual ~WindowSystem() = default;
    // Dispatches what is pending (posted calls, ready descriptors, due timers, window events), then returns.
    virtual void Turn() = 0;
    // Runs `call` at the next turn on the window thread, in the order of posting. Any thread.
    virtual void Post(std::function<void()> call) = 0;
    [[nodiscard]] virtual std::unique_ptr<Timer> MakeTimer(std::function<void()> tick) = 0;
    // Runs `call` in each turn in which the descriptor is ready, at its end of file and in error as well; not inside
    // itself. The watch should end before its descriptor is closed; a closed one is no longer watched.
    [[nodiscard]] virtual std::unique_ptr<DescriptorWatch> WatchDescriptor(int descriptor, DescriptorEvent event,
                                                                           std::function<void()> call) = 0;
    virtual void Beep() = 0;

    // The message loop: turns until `done` (then true) or until that much time has passed, idle in between.
    bool RunUntil(const std::function<bool()>& done, std::int64_t milliseconds);

protected:
    // Between two turns, until there may be something for the next one; `nanoseconds` at most.
    virtual void Idle(std::int64_t nanoseconds);
};

// Null restores the plain one (posted calls only; its timers never tick, its watches never call).
void UseWindowSystem(WindowSystem* windowSystem);
WindowSystem& CurrentWindowSystem();

// The one place that gives the window system a turn.
void DoEvents();
void Post(std::function<void()> call);
[[nodiscard]] std::unique_ptr<Timer> MakeTimer(std::int32_t intervalMilliseconds, std::function<void()> tick);
[[nodiscard]] std::unique_ptr<DescriptorWatch> WatchDescriptor(int descriptor, DescriptorEvent event,
                                                               std::function<void()> call);
void Beep();

} // namespace platform

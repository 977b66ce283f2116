// The window system of a program without windows, in real time.
#pragma once

#include "DescriptorWatches.h"
#include "PostedCalls.h"
#include "TimerQueue.h"
#include "WakeUp.h"
#include "WindowSystem.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace platform {

// Turns and waits in one thread, that of the constructor; other threads only post.
class EventLoop : public WindowSystem {
public:
    EventLoop();           // becomes the current window system
    ~EventLoop() override; // restores the plain one
    // Ready descriptors, posted calls, due timers. A call that fails leaves the rest for the next turn.
    void Turn() override;
    void Post(std::function<void()> call) override;
    [[nodiscard]] std::unique_ptr<Timer> MakeTimer(std::function<void()> tick) override;
    [[nodiscard]] std::unique_ptr<DescriptorWatch> WatchDescriptor(int descriptor, DescriptorEvent event,
                                                                   std::function<void()> call) override;
    void Beep() override;

    // Turns until End, asleep while there is nothing to do; the code that End was given.
    int Run();
    // Run returns after the turn that is under way, or at once if it hasn't begun.
    void End(int code = 0);

protected:
    // Between two turns: until a descriptor is ready or so many nanoseconds have passed; without them no limit. For
    // tests to replace.
    virtual void Wait(std::optional<std::int64_t> nanoseconds);
    void Idle(std::int64_t nanoseconds) override;

private:
    std::optional<std::int64_t> TimeToNextTurn() const;

    PostedCalls posted_;
    TimerQueue timers_;
    DescriptorWatches watches_;
    WakeUp wakeUp_; // set by each posting
    std::unique_ptr<DescriptorWatch> wakeUpWatch_;
    std::optional<int> code_; // of an End that Run hasn't seen
};

} // namespace platform

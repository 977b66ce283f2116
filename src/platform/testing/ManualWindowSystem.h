// A window system without windows whose turns a test gives by hand; between them it sleeps on the current clock.
#pragma once

#include "DescriptorWatches.h"
#include "PostedCalls.h"
#include "TimerQueue.h"
#include "WindowSystem.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace platform::testing {

class ManualWindowSystem : public WindowSystem {
public:
    ManualWindowSystem();           // becomes the current one
    ~ManualWindowSystem() override; // restores the plain one
    // Ready descriptors (which a test makes so, by a write, say), posted calls, `eachTurn`, due timers.
    void Turn() override;
    void Post(std::function<void()> call) override;
    [[nodiscard]] std::unique_ptr<Timer> MakeTimer(std::function<void()> tick) override;
    [[nodiscard]] std::unique_ptr<DescriptorWatch> WatchDescriptor(int descriptor, DescriptorEvent event,
                                                                   std::function<void()> call) override;
    void Beep() override { ++beeps; }

    std::function<void()> eachTurn; // what else has a turn, such as the events of a toolkit
    int beeps = 0;
    int turns = 0;

protected:
    void Idle(std::int64_t nanoseconds) override; // until the next timer is due

private:
    PostedCalls posted_;
    TimerQueue timers_;
    DescriptorWatches watches_;
};

} // namespace platform::testing

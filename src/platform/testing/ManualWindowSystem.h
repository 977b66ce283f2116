// A window system without windows: posted calls and timers on the current clock, cranked by hand.
#pragma once

#include "PostedCalls.h"
#include "WindowSystem.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace platform::testing {

class ManualWindowSystem : public WindowSystem {
public:
    ManualWindowSystem();           // becomes the current one
    ~ManualWindowSystem() override; // puts the plain one back
    // Posted calls first, then each enabled timer that is due, once, in order of due time. A
    // timer whose tick is running doesn't tick again inside it.
    void Turn() override;
    void Post(std::function<void()> call) override;
    std::unique_ptr<Timer> MakeTimer(std::function<void()> tick) override;
    void Beep() override { ++beeps; }

    // The message loop: turns, and between them sleeps to the next due timer, until `done` is
    // true or that much time has passed. True when done.
    bool RunUntil(const std::function<bool()>& done, std::int64_t milliseconds);

    std::function<void()> eachTurn; // what else has a turn, such as the events of a toolkit
    int beeps = 0;
    int turns = 0;

private:
    friend class ManualTimer;
    std::int64_t NextDue(std::int64_t latest) const; // of the enabled timers, `latest` at most
    PostedCalls posted_;
    std::vector<class ManualTimer*> timers_;
};

} // namespace platform::testing

// The timers of a window system, on the current clock.
#pragma once

#include "WindowSystem.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace platform {

class TimerQueue {
public:
    // The timer may outlive the queue; it no longer ticks then.
    [[nodiscard]] std::unique_ptr<Timer> MakeTimer(std::function<void()> tick);
    // Runs each enabled timer that is due, once, in order of due time. The next tick is an interval after the start of
    // this one. A timer whose tick is running doesn't tick again inside it.
    void RunDue();
    // When the first enabled timer that isn't running is due, `latest` at most. Nanoseconds of the clock.
    std::int64_t NextDue(std::int64_t latest) const;

    struct Entry;

private:
    std::vector<std::weak_ptr<Entry>> entries_; // each is owned by its timer
};

} // namespace platform

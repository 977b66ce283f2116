// Time that passes only while somebody sleeps.
#pragma once

#include "Clock.h"

#include <functional>
#include <map>

namespace platform::testing {

class VirtualClock : public Clock {
public:
    VirtualClock();           // becomes the current clock
    ~VirtualClock() override; // restores the real one
    std::int64_t Now() override { return now_; }
    std::int64_t CalendarNow() override { return calendarStart_ + now_; }
    void Sleep(std::int64_t nanoseconds) override;
    // Runs `call` as time passes `due`, or in the next sleep if `due` is in the past.
    void CallAt(std::int64_t due, std::function<void()> call);
    void SetCalendar(std::int64_t nanosecondsSince1970);

private:
    std::int64_t now_ = 1'000'000'000; // not 0: some clocks of the program take 0 for "not started"
    std::int64_t calendarStart_;
    std::multimap<std::int64_t, std::function<void()>> due_;
};

} // namespace platform::testing

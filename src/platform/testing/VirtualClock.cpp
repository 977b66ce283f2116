#include "VirtualClock.h"

#include <algorithm>

namespace platform::testing {

namespace {

constexpr std::int64_t NOON_OF_A_DAY = 1'030'795'200'000'000'000; // 2002-08-31 12:00 UTC

} // namespace

VirtualClock::VirtualClock() : calendarStart_(NOON_OF_A_DAY) {
    UseClock(this);
}
VirtualClock::~VirtualClock() {
    UseClock(nullptr);
}

void VirtualClock::Sleep(std::int64_t nanoseconds) {
    const std::int64_t end = now_ + std::max<std::int64_t>(nanoseconds, 0);
    while (!due_.empty() && due_.begin()->first <= end) {
        const auto first = due_.begin();
        now_ = std::max(now_, first->first);
        const std::function<void()> call = std::move(first->second);
        due_.erase(first);
        call();
    }
    now_ = std::max(now_, end); // a call may have slept past it
}

void VirtualClock::CallAt(std::int64_t due, std::function<void()> call) {
    due_.emplace(due, std::move(call));
}
void VirtualClock::SetCalendar(std::int64_t nanosecondsSince1970) {
    calendarStart_ = nanosecondsSince1970 - now_;
}

} // namespace platform::testing

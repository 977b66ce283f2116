#include "ManualWindowSystem.h"

#include "Clock.h"

#include <utility>

namespace platform::testing {

ManualWindowSystem::ManualWindowSystem() {
    UseWindowSystem(this);
}
ManualWindowSystem::~ManualWindowSystem() {
    UseWindowSystem(nullptr);
}

void ManualWindowSystem::Turn() {
    ++turns;
    watches_.RunReady();
    posted_.Run();
    if (eachTurn)
        eachTurn();
    timers_.RunDue();
}

void ManualWindowSystem::Post(std::function<void()> call) {
    posted_.Add(std::move(call));
}

std::unique_ptr<Timer> ManualWindowSystem::MakeTimer(std::function<void()> tick) {
    return timers_.MakeTimer(std::move(tick));
}

std::unique_ptr<DescriptorWatch> ManualWindowSystem::WatchDescriptor(int descriptor, DescriptorEvent event,
                                                                     std::function<void()> call) {
    return watches_.Watch(descriptor, event, std::move(call));
}

bool ManualWindowSystem::RunUntil(const std::function<bool()>& done, std::int64_t milliseconds) {
    const std::int64_t end = CurrentClock().Now() + milliseconds * 1'000'000;
    while (!done()) {
        Turn();
        if (done())
            return true;
        if (CurrentClock().Now() >= end)
            return false;
        if (posted_.Empty())
            CurrentClock().Sleep(timers_.NextDue(end) - CurrentClock().Now());
    }
    return true;
}

} // namespace platform::testing

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

void ManualWindowSystem::Idle(std::int64_t nanoseconds) {
    const std::int64_t now = CurrentClock().Now();
    if (posted_.Empty())
        CurrentClock().Sleep(timers_.NextDue(now + nanoseconds) - now);
}

} // namespace platform::testing

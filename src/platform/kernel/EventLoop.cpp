#include "EventLoop.h"

#include "Clock.h"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <utility>

namespace platform {

EventLoop::EventLoop()
    : wakeUpWatch_(watches_.Watch(wakeUp_.Descriptor(), DescriptorEvent::Readable, [this] { wakeUp_.Clear(); })) {
    UseWindowSystem(this);
}
EventLoop::~EventLoop() {
    UseWindowSystem(nullptr);
}

void EventLoop::Turn() {
    watches_.RunReady();
    posted_.Run();
    timers_.RunDue();
}

void EventLoop::Post(std::function<void()> call) {
    posted_.Add(std::move(call));
    wakeUp_.Set();
}

std::unique_ptr<Timer> EventLoop::MakeTimer(std::function<void()> tick) {
    return timers_.MakeTimer(std::move(tick));
}

std::unique_ptr<DescriptorWatch> EventLoop::WatchDescriptor(int descriptor, DescriptorEvent event,
                                                            std::function<void()> call) {
    return watches_.Watch(descriptor, event, std::move(call));
}

void EventLoop::Beep() {
    std::fputc('\a', stderr);
}

int EventLoop::Run() {
    while (!code_) {
        Turn();
        if (!code_)
            Wait(TimeToNextTurn());
    }
    return *std::exchange(code_, std::nullopt);
}

void EventLoop::End(int code) {
    code_ = code;
}

void EventLoop::Wait(std::optional<std::int64_t> nanoseconds) {
    watches_.Wait(nanoseconds);
}

void EventLoop::Idle(std::int64_t nanoseconds) {
    Wait(std::min(nanoseconds, TimeToNextTurn().value_or(nanoseconds)));
}

std::optional<std::int64_t> EventLoop::TimeToNextTurn() const {
    constexpr std::int64_t NEVER = std::numeric_limits<std::int64_t>::max();
    if (!posted_.Empty())
        return 0;
    const std::int64_t due = timers_.NextDue(NEVER);
    return due == NEVER ? std::nullopt : std::optional(std::max<std::int64_t>(due - CurrentClock().Now(), 0));
}

} // namespace platform

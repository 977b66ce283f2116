#include "WindowSystem.h"

#include "Clock.h"
#include "PostedCalls.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace platform {

namespace {

class IdleTimer : public Timer {
public:
    void SetInterval(std::int32_t milliseconds) override { interval_ = milliseconds; }
    std::int32_t Interval() const override { return interval_; }
    void SetEnabled(bool enabled) override { enabled_ = enabled; }
    bool Enabled() const override { return enabled_; }

private:
    std::int32_t interval_ = 0;
    bool enabled_ = false;
};

class PlainWindowSystem : public WindowSystem {
public:
    void Turn() override { posted_.Run(); }
    void Post(std::function<void()> call) override { posted_.Add(std::move(call)); }
    std::unique_ptr<Timer> MakeTimer(std::function<void()>) override { return std::make_unique<IdleTimer>(); }
    std::unique_ptr<DescriptorWatch> WatchDescriptor(int, DescriptorEvent, std::function<void()>) override {
        return std::make_unique<DescriptorWatch>();
    }
    void Beep() override { std::fputc('\a', stderr); }

private:
    PostedCalls posted_;
};

struct Globals {
    PlainWindowSystem plain;
    WindowSystem* current = nullptr; // null: the plain one
} globals;

} // namespace

bool WindowSystem::RunUntil(const std::function<bool()>& done, std::int64_t milliseconds) {
    const std::int64_t end = CurrentClock().Now() + milliseconds * 1'000'000;
    while (!done()) {
        Turn();
        if (done())
            return true;
        const std::int64_t left = end - CurrentClock().Now();
        if (left <= 0)
            return false;
        Idle(left);
    }
    return true;
}

void WindowSystem::Idle(std::int64_t nanoseconds) {
    constexpr std::int64_t POLL = 10'000'000;
    CurrentClock().Sleep(std::min(nanoseconds, POLL));
}

void UseWindowSystem(WindowSystem* windowSystem) {
    globals.current = windowSystem;
}
WindowSystem& CurrentWindowSystem() {
    return globals.current != nullptr ? *globals.current : globals.plain;
}

void DoEvents() {
    CurrentWindowSystem().Turn();
}
void Post(std::function<void()> call) {
    CurrentWindowSystem().Post(std::move(call));
}
void Beep() {
    CurrentWindowSystem().Beep();
}

std::unique_ptr<Timer> MakeTimer(std::int32_t intervalMilliseconds, std::function<void()> tick) {
    auto timer = CurrentWindowSystem().MakeTimer(std::move(tick));
    timer->SetInterval(intervalMilliseconds);
    return timer;
}

std::unique_ptr<DescriptorWatch> WatchDescriptor(int descriptor, DescriptorEvent event, std::function<void()> call) {
    return CurrentWindowSystem().WatchDescriptor(descriptor, event, std::move(call));
}

} // namespace platform

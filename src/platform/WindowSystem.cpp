#include "WindowSystem.h"

#include <cstdio>
#include <deque>
#include <mutex>
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
    void Turn() override {
        std::deque<std::function<void()>> calls;
        {
            const std::lock_guard lock(mutex_);
            calls.swap(posted_);
        }
        for (auto& call : calls)
            call();
    }
    void Post(std::function<void()> call) override {
        const std::lock_guard lock(mutex_);
        posted_.push_back(std::move(call));
    }
    std::unique_ptr<Timer> MakeTimer(std::function<void()>) override { return std::make_unique<IdleTimer>(); }
    void Beep() override { std::fputc('\a', stderr); }

private:
    std::mutex mutex_;
    std::deque<std::function<void()>> posted_;
};

struct Globals {
    PlainWindowSystem plain;
    WindowSystem* current = nullptr; // null: the plain one
} globals;

} // namespace

void UseWindowSystem(WindowSystem* windowSystem) { globals.current = windowSystem; }
WindowSystem& CurrentWindowSystem() { return globals.current != nullptr ? *globals.current : globals.plain; }

void DoEvents() { CurrentWindowSystem().Turn(); }
void Post(std::function<void()> call) { CurrentWindowSystem().Post(std::move(call)); }
void Beep() { CurrentWindowSystem().Beep(); }

std::unique_ptr<Timer> MakeTimer(std::int32_t intervalMilliseconds, std::function<void()> tick) {
    auto timer = CurrentWindowSystem().MakeTimer(std::move(tick));
    timer->SetInterval(intervalMilliseconds);
    return timer;
}

} // namespace platform

#include "ManualWindowSystem.h"

#include "Clock.h"

#include <algorithm>
#include <utility>

namespace platform::testing {

class ManualTimer : public Timer {
public:
    ManualTimer(ManualWindowSystem& owner, std::function<void()> tick) : owner_(owner), tick_(std::move(tick)) {
        owner_.timers_.push_back(this);
    }
    ~ManualTimer() override { std::erase(owner_.timers_, this); }
    void SetInterval(std::int32_t milliseconds) override {
        interval_ = milliseconds;
        due_ = CurrentClock().Now() + Period();
    }
    std::int32_t Interval() const override { return interval_; }
    void SetEnabled(bool enabled) override {
        enabled_ = enabled;
        due_ = CurrentClock().Now() + Period();
    }
    bool Enabled() const override { return enabled_; }

    std::int64_t due() const { return due_; }
    bool ready() const { return enabled_ && !running_; }
    void tick() {
        running_ = true;
        due_ = CurrentClock().Now() + Period();
        tick_();
        running_ = false;
    }

private:
    std::int64_t Period() const { return std::max(interval_, 1) * 1'000'000LL; }

    ManualWindowSystem& owner_;
    std::function<void()> tick_;
    std::int32_t interval_ = 0;
    std::int64_t due_ = 0;
    bool enabled_ = false;
    bool running_ = false;
};

ManualWindowSystem::ManualWindowSystem() { UseWindowSystem(this); }
ManualWindowSystem::~ManualWindowSystem() { UseWindowSystem(nullptr); }

void ManualWindowSystem::Post(std::function<void()> call) {
    const std::lock_guard lock(mutex_);
    posted_.push_back(std::move(call));
}

std::unique_ptr<Timer> ManualWindowSystem::MakeTimer(std::function<void()> tick) {
    return std::make_unique<ManualTimer>(*this, std::move(tick));
}

void ManualWindowSystem::Turn() {
    ++turns;
    std::deque<std::function<void()>> calls;
    {
        const std::lock_guard lock(mutex_);
        calls.swap(posted_);
    }
    for (auto& call : calls)
        call();
    std::vector<ManualTimer*> due;
    const std::int64_t now = CurrentClock().Now();
    for (ManualTimer* timer : timers_)
        if (timer->ready() && timer->due() <= now)
            due.push_back(timer);
    std::stable_sort(due.begin(), due.end(),
                     [](const ManualTimer* a, const ManualTimer* b) { return a->due() < b->due(); });
    for (ManualTimer* timer : due) {
        // A tick before may have removed or stopped it.
        const bool there = std::find(timers_.begin(), timers_.end(), timer) != timers_.end();
        if (there && timer->ready() && timer->due() <= now)
            timer->tick();
    }
}

bool ManualWindowSystem::RunUntil(const std::function<bool()>& done, std::int64_t milliseconds) {
    const std::int64_t end = CurrentClock().Now() + milliseconds * 1'000'000;
    while (!done()) {
        Turn();
        if (done())
            return true;
        std::int64_t next = end;
        for (const ManualTimer* timer : timers_)
            if (timer->ready())
                next = std::min(next, timer->due());
        const std::int64_t now = CurrentClock().Now();
        if (now >= end)
            return false;
        {
            const std::lock_guard lock(mutex_);
            if (!posted_.empty())
                continue;
        }
        if (next > now)
            CurrentClock().Sleep(next - now);
    }
    return true;
}

} // namespace platform::testing

#include "ManualWindowSystem.h"

#include "Clock.h"

#include <algorithm>
#include <utility>

namespace platform::testing {

class ManualTimer : public Timer {
public:
    ManualTimer(ManualWindowSystem& owner, std::function<void()> tick)
        : owner_(&owner), state_(std::make_shared<State>()) {
        state_->tick = std::move(tick);
        owner.timers_.push_back(this);
    }
    ~ManualTimer() override {
        if (owner_ != nullptr)
            std::erase(owner_->timers_, this);
    }
    void SetInterval(std::int32_t milliseconds) override {
        interval_ = milliseconds;
        Restart();
    }
    std::int32_t Interval() const override { return interval_; }
    void SetEnabled(bool enabled) override {
        enabled_ = enabled;
        Restart();
    }
    bool Enabled() const override { return enabled_; }

    void OwnerIsGone() { owner_ = nullptr; }
    std::int64_t Due() const { return due_; }
    bool Ready() const { return enabled_ && !state_->running; }
    void Tick() {
        Restart();
        const std::shared_ptr<State> state = state_; // the tick may remove its own timer
        state->running = true;
        state->tick();
        state->running = false;
    }

private:
    struct State {
        std::function<void()> tick;
        bool running = false;
    };
    void Restart() { due_ = CurrentClock().Now() + std::max(interval_, 1) * 1'000'000LL; }

    ManualWindowSystem* owner_;
    std::shared_ptr<State> state_;
    std::int32_t interval_ = 0;
    std::int64_t due_ = 0;
    bool enabled_ = false;
};

ManualWindowSystem::ManualWindowSystem() {
    UseWindowSystem(this);
}

ManualWindowSystem::~ManualWindowSystem() {
    UseWindowSystem(nullptr);
    for (ManualTimer* timer : timers_)
        timer->OwnerIsGone();
}

void ManualWindowSystem::Post(std::function<void()> call) {
    posted_.Add(std::move(call));
}

std::unique_ptr<Timer> ManualWindowSystem::MakeTimer(std::function<void()> tick) {
    return std::make_unique<ManualTimer>(*this, std::move(tick));
}

void ManualWindowSystem::Turn() {
    ++turns;
    posted_.Run();
    if (eachTurn)
        eachTurn();
    std::vector<ManualTimer*> due;
    const std::int64_t now = CurrentClock().Now();
    for (ManualTimer* timer : timers_)
        if (timer->Ready() && timer->Due() <= now)
            due.push_back(timer);
    std::stable_sort(due.begin(), due.end(),
                     [](const ManualTimer* a, const ManualTimer* b) { return a->Due() < b->Due(); });
    for (ManualTimer* timer : due) {
        // A tick before may have removed or stopped it.
        const bool there = std::find(timers_.begin(), timers_.end(), timer) != timers_.end();
        if (there && timer->Ready() && timer->Due() <= now)
            timer->Tick();
    }
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
            CurrentClock().Sleep(NextDue(end) - CurrentClock().Now());
    }
    return true;
}

std::int64_t ManualWindowSystem::NextDue(std::int64_t latest) const {
    for (const ManualTimer* timer : timers_)
        if (timer->Ready())
            latest = std::min(latest, timer->Due());
    return latest;
}

} // namespace platform::testing

#include "TimerQueue.h"

#include "Clock.h"
#include "FlagGuard.h"

#include <algorithm>
#include <utility>

namespace platform {

struct TimerQueue::Entry {
    std::function<void()> tick;
    std::int32_t interval = 0; // ms
    std::int64_t due = 0;
    bool enabled = false;
    bool running = false;

    bool Ready() const { return enabled && !running; }
    void Restart() { due = CurrentClock().Now() + std::max(interval, 1) * 1'000'000LL; }
};

namespace {

class QueuedTimer : public Timer {
public:
    explicit QueuedTimer(std::shared_ptr<TimerQueue::Entry> entry) : entry_(std::move(entry)) {}
    void SetInterval(std::int32_t milliseconds) override {
        entry_->interval = milliseconds;
        entry_->Restart();
    }
    std::int32_t Interval() const override { return entry_->interval; }
    void SetEnabled(bool enabled) override {
        entry_->enabled = enabled;
        entry_->Restart();
    }
    bool Enabled() const override { return entry_->enabled; }

private:
    std::shared_ptr<TimerQueue::Entry> entry_;
};

} // namespace

std::unique_ptr<Timer> TimerQueue::MakeTimer(std::function<void()> tick) {
    std::erase_if(entries_, [](const std::weak_ptr<Entry>& entry) { return entry.expired(); });
    auto entry = std::make_shared<Entry>();
    entry->tick = std::move(tick);
    entries_.push_back(entry);
    return std::make_unique<QueuedTimer>(std::move(entry));
}

void TimerQueue::RunDue() {
    const std::int64_t now = CurrentClock().Now();
    std::vector<std::pair<std::int64_t, std::weak_ptr<Entry>>> due;
    for (const std::weak_ptr<Entry>& known : entries_)
        if (const auto entry = known.lock(); entry && entry->Ready() && entry->due <= now)
            due.emplace_back(entry->due, known);
    std::ranges::stable_sort(due, {}, [](const auto& timer) { return timer.first; });
    for (const auto& [time, timer] : due) {
        const std::shared_ptr<Entry> entry = timer.lock(); // a tick may remove, stop or restart any timer, its own too
        if (!entry || !entry->Ready() || entry->due > now)
            continue;
        entry->Restart();
        const FlagGuard running(entry->running);
        entry->tick();
    }
}

std::int64_t TimerQueue::NextDue(std::int64_t latest) const {
    for (const std::weak_ptr<Entry>& known : entries_)
        if (const auto entry = known.lock(); entry && entry->Ready())
            latest = std::min(latest, entry->due);
    return latest;
}

} // namespace platform

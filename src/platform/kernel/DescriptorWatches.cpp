#include "DescriptorWatches.h"

#include "FlagGuard.h"

#include <utility>

#include <poll.h>

namespace platform {

struct DescriptorWatches::Entry {
    pollfd polled{};
    std::function<void()> call;
    bool running = false;
    bool closed = false; // polling it again would find it "ready" for ever

    bool Active() const { return !running && !closed; }
};

namespace {

class Watched : public DescriptorWatch {
public:
    explicit Watched(std::shared_ptr<DescriptorWatches::Entry> entry) : entry_(std::move(entry)) {}

private:
    std::shared_ptr<DescriptorWatches::Entry> entry_;
};

} // namespace

std::unique_ptr<DescriptorWatch> DescriptorWatches::Watch(int descriptor, DescriptorEvent event,
                                                          std::function<void()> call) {
    std::erase_if(entries_, [](const std::weak_ptr<Entry>& entry) { return entry.expired(); });
    auto entry = std::make_shared<Entry>();
    entry->polled.fd = descriptor;
    entry->polled.events = event == DescriptorEvent::Readable ? POLLIN : POLLOUT;
    entry->call = std::move(call);
    entries_.push_back(entry);
    return std::make_unique<Watched>(std::move(entry));
}

void DescriptorWatches::RunReady() {
    const std::vector<std::weak_ptr<Entry>> known = entries_; // a call may begin and end watches
    for (const std::weak_ptr<Entry>& watch : known) {
        const std::shared_ptr<Entry> entry = watch.lock();
        // Each is polled right before its call: an earlier call may have read what was there.
        if (!entry || !entry->Active() || poll(&entry->polled, 1, 0) <= 0)
            continue;
        entry->closed = (entry->polled.revents & POLLNVAL) != 0;
        if (entry->closed)
            continue;
        const FlagGuard running(entry->running);
        entry->call();
    }
}

void DescriptorWatches::Wait(std::optional<std::int64_t> nanoseconds) const {
    constexpr std::int64_t SECOND = 1'000'000'000;
    std::vector<pollfd> polled;
    for (const std::weak_ptr<Entry>& known : entries_)
        if (const auto entry = known.lock(); entry && entry->Active())
            polled.push_back(entry->polled);
    timespec limit{};
    if (nanoseconds)
        limit = {static_cast<time_t>(*nanoseconds / SECOND), static_cast<long>(*nanoseconds % SECOND)};
    ppoll(polled.data(), polled.size(), nanoseconds ? &limit : nullptr, nullptr);
}

} // namespace platform

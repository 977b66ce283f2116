// The record as a bus: operations get the answers that they had, notices come where and when they came.
//
// Order is strict for each node, time isn't: an operation takes as long as it took in the record, and a notice comes as
// long after the operation before it as it did, at the latest with the next operation. A bus reset waits until the
// client has done all that it did before it took the reset up.
#pragma once

#include "Channel.h"
#include "NoticeFeed.h"
#include "Redaction.h"
#include "SimulatedClock.h"
#include "Twl1394api.h"

#include <memory>
#include <mutex>

namespace replay {

// One lock over everything; it isn't held while an operation takes its time. Callbacks are called with it held.
class Replay {
public:
    // Throws runtime_error with the reason if there is no such record.
    explicit Replay(const std::string& file);

    // What the record has for this operation, after the time that it took there; empty if it doesn't expect it, which
    // is reported in the debug text. `lock` is released meanwhile.
    std::optional<recording::Entry> Carry(recording::Entry asked, std::unique_lock<std::mutex>& lock);
    // A notice has become due, unless another ticket has been given meanwhile.
    void Fire(std::uint64_t ticket);

private:
    struct Anchor {
        std::int64_t recorded, now; // the end of the operation that went furthest: microseconds; nanoseconds
    };

    Channel& ChannelFor(ChannelKey key);
    std::optional<Answer> Find(recording::Entry& asked);
    void Report(const recording::Entry& asked, const Channel& channel);
    // Those that came before this place in the file, up to this time, and aren't held back.
    void PostUpTo(std::int64_t offset, std::int64_t time);
    void PostHeldBack();
    [[nodiscard]] bool ResetIsDueWith(const recording::Entry& operation);
    void PostNext();
    void ScheduleNext();

    std::string file_;
    std::map<ChannelKey, Channel> channels_;
    NoticeFeed notices_;
    std::unique_ptr<recording::Redaction> redaction_; // of a redacted record
    std::int64_t frontier_ = 0;                       // offset after the operation that went furthest
    std::int64_t lastReset_ = 0;                      // offset after the last bus reset that was posted
    bool resetUnread_ = false;                        // the topology map hasn't been read since
    Anchor anchor_{};
    std::uint64_t ticket_ = 0; // of the notice that is scheduled
    std::string lastReport_;
};

struct Globals {
    std::mutex mutex;
    const Twl1394Client* client = nullptr;
    std::shared_ptr<Replay> replay;          // null without a record
    std::uint64_t lastTicket = 0;            // never reset: old ones may still fall due
    std::unique_ptr<simulator::Clock> clock; // null until needed; last, so that its thread ends first
};
extern Globals globals;

simulator::Clock& TheClock();
void UseCallersClock(const SimulatorClock* clock); // null: the machine's
void DebugText(const std::string& text);           // a line, to the client

} // namespace replay

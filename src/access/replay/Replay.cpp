#include "Replay.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

namespace replay {

Globals globals;

namespace {

using recording::Entry;
using recording::Kind;

constexpr std::int64_t MICROSECOND = 1000; // nanoseconds
constexpr std::int64_t TICK = 25'000;      // microseconds; no less than what a client lets pass between two looks
// Microseconds; a record that says more is damaged or made by hand, and would stop its client.
constexpr std::int64_t LONGEST_OPERATION = 10'000'000, LONGEST_PAUSE = 86'400'000'000;

std::string Hex(std::uint64_t value, int digits) {
    char text[20];
    return std::string(text, static_cast<std::size_t>(std::snprintf(text, sizeof text, "%0*llX", digits,
                                                                    static_cast<unsigned long long>(value))));
}

// "write of 12 bytes to node 0 at FFFFC8021000 (010000000100...)"
std::string Describe(const Entry& entry) {
    constexpr std::size_t SHOWN = 24; // bytes of data
    if (!recording::IsTransaction(entry.kind))
        return NameOf(entry.kind) + (entry.text.empty() ? "" : " of \"" + entry.text + "\"");
    std::string text = std::string(NameOf(entry.kind)) + " of " + std::to_string(entry.size) + " bytes " +
                       (entry.kind == Kind::Read ? "from" : "to") + " node " + std::to_string(entry.node) + " at " +
                       Hex(entry.address, 12);
    if (entry.kind == Kind::Read)
        return text;
    text += entry.isDigest ? " (digest " : " (";
    for (std::size_t i = 0; i < std::min(entry.data.size(), SHOWN); ++i)
        text += Hex(entry.data[i], 2);
    return text + (entry.data.size() > SHOWN ? "...)" : ")");
}

std::string TimeText(std::int64_t microseconds) {
    char text[40];
    return std::string(text, static_cast<std::size_t>(
                                 std::snprintf(text, sizeof text, "%.3f s", static_cast<double>(microseconds) / 1e6)));
}

void Fire(void* ticket) {
    const std::lock_guard lock(globals.mutex);
    if (globals.replay != nullptr && globals.client != nullptr)
        globals.replay->Fire(reinterpret_cast<std::uintptr_t>(ticket));
}

} // namespace

simulator::Clock& TheClock() {
    if (globals.clock == nullptr)
        globals.clock = std::make_unique<simulator::RealClock>(&Fire);
    return *globals.clock;
}

void UseCallersClock(const SimulatorClock* clock) {
    globals.clock.reset();
    if (clock != nullptr)
        globals.clock = std::make_unique<simulator::CallersClock>(*clock, &replay::Fire);
}

void DebugText(const std::string& text) {
    if (globals.client != nullptr)
        globals.client->AppendDebugText(globals.client->Context, ("replay: " + text + "\r\n").c_str());
}

Replay::Replay(const std::string& file) : file_(file) {
    std::string reason;
    recording::RecordReader reader;
    Entry first;
    if (!reader.Open(file, reason) || !notices_.Open(file, reason))
        throw std::runtime_error("'" + file + "' can't be replayed: " + reason);
    if (reader.Next(first) && !recording::AboutValue(first.text, recording::ABOUT_REDACTED).empty())
        redaction_ = std::make_unique<recording::Redaction>();
}

Channel& Replay::ChannelFor(ChannelKey key) {
    const auto found = channels_.find(key);
    if (found != channels_.end())
        return found->second;
    Channel& channel = channels_.try_emplace(key, key).first->second;
    std::string reason;
    if (!channel.Open(file_, reason))
        DebugText("'" + file_ + "' can't be read any more: " + reason);
    return channel;
}

// A redacted record expects what its redaction makes of the operation.
std::optional<Answer> Replay::Find(Entry& asked) {
    if (redaction_)
        redaction_->Apply(asked);
    std::optional<Answer> answer = ChannelFor(ChannelOf(asked)).Find(asked, lastReset_);
    if (answer && redaction_)
        redaction_->TakeOver(answer->entry);
    return answer;
}

std::optional<Entry> Replay::Carry(Entry asked, std::unique_lock<std::mutex>& lock) {
    std::optional<Answer> answer = Find(asked);
    if (!answer || answer->isRepeated)
        PostHeldBack(); // the client does more than in the record, where it had heard of them
    if (!answer && recording::IsTransaction(asked.kind) && resetUnread_) {
        asked.result = TWL1394_BUS_RESET; // the number may be another node's by now
        return asked;
    }
    if (!answer) {
        Report(asked, ChannelFor(ChannelOf(asked)));
        return std::nullopt;
    }
    const Entry& entry = answer->entry;
    const std::int64_t after = answer->place.offset;
    const bool goesFurther = !answer->isRepeated && after > frontier_;
    if (asked.kind == Kind::GetLocalHostInformation)
        resetUnread_ = false;
    if (goesFurther) {
        PostUpTo(after, entry.start);
        frontier_ = after;
        ticket_ = 0; // until this operation has ended
    }
    lock.unlock();
    TheClock().Sleep(std::min(entry.end - entry.start, LONGEST_OPERATION) * MICROSECOND);
    lock.lock();
    if (goesFurther && frontier_ == after) {
        PostUpTo(after, entry.end);
        const bool isReset = ResetIsDueWith(entry);
        if (isReset)
            PostNext();
        anchor_ = {entry.end, TheClock().Now()};
        ScheduleNext();
        if (isReset) { // so that the client takes it up before it does anything else
            lock.unlock();
            TheClock().Sleep(TICK * MICROSECOND);
            lock.lock();
        }
    }
    return entry;
}

void Replay::PostUpTo(std::int64_t offset, std::int64_t time) {
    for (const Posting* next = notices_.Next();
         next != nullptr && next->place.offset <= offset && next->entry.end <= time &&
         !(next->isTakenUp && next->mustFollow >= offset);
         next = notices_.Next())
        PostNext();
}

void Replay::PostHeldBack() {
    const auto isHeldBack = [this](const Posting* posting) { // and so isn't scheduled
        return posting != nullptr && posting->follows <= frontier_ && posting->mustFollow > frontier_;
    };
    while (isHeldBack(notices_.Next()))
        PostNext();
}

// A reset that the client took up after this operation, and that came before it or soon after.
bool Replay::ResetIsDueWith(const Entry& operation) {
    const Posting* next = notices_.Next();
    return next != nullptr && next->isTakenUp && next->mustFollow <= frontier_ &&
           next->entry.end - operation.end <= TICK;
}

void Replay::PostNext() {
    const Posting posting = *notices_.Next();
    notices_.Pass();
    if (globals.client == nullptr)
        return;
    if (posting.entry.kind == Kind::DebugText)
        return globals.client->AppendDebugText(globals.client->Context, posting.entry.text.c_str());
    if (IsReset(posting.entry)) {
        lastReset_ = posting.place.offset;
        resetUnread_ = true;
    }
    globals.client->PostNotice(globals.client->Context, posting.entry.number);
}

void Replay::ScheduleNext() {
    const Posting* next = notices_.Next();
    ticket_ = 0;
    if (next == nullptr || next->mustFollow > frontier_)
        return;
    ticket_ = ++globals.lastTicket;
    const std::int64_t pause = std::clamp<std::int64_t>(next->entry.end - anchor_.recorded, 0, LONGEST_PAUSE);
    TheClock().CallAt(anchor_.now + pause * MICROSECOND, ticket_);
}

void Replay::Fire(std::uint64_t ticket) {
    if (ticket != ticket_)
        return;
    PostNext();
    ScheduleNext();
}

// Entries are numbered from 1, as the lines of "hoistline record show".
void Replay::Report(const Entry& asked, const Channel& channel) {
    const Entry* expected = channel.Expected();
    const std::uint64_t before = channel.Place().index;
    std::string text = expected == nullptr ? "the record ends with entry " + std::to_string(before)
                                           : "the record expects at entry " + std::to_string(before + 1) + " (" +
                                                 TimeText(expected->start) + ") a " + Describe(*expected);
    text += "; what came is a " + Describe(asked);
    if (text != lastReport_)
        DebugText(text);
    lastReport_ = std::move(text);
}

} // namespace replay

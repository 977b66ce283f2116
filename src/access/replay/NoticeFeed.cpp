#include "NoticeFeed.h"

#include "Twl1394api.h"

namespace replay {

using recording::Entry;
using recording::Kind;

bool IsReset(const Entry& entry) {
    return entry.kind == Kind::Notice &&
           (entry.number == TWL1394_NOTICE_BUS_RESET || entry.number == TWL1394_NOTICE_BUS_RESET_VHPD);
}

bool PollWatch::IsPoll(const Entry& entry) {
    if (!recording::IsTransaction(entry.kind))
        return false;
    Entry& last = last_[entry.node & 0x3F];
    const bool isPoll =
        entry.kind == Kind::Read && last.kind == Kind::Read && last.address == entry.address && last.size == entry.size;
    last = entry;
    last.data.clear();
    return isPoll;
}

bool NoticeFeed::Open(const std::string& file, std::string& reason) {
    return reader_.Open(file, reason) && ahead_.Open(file, reason);
}

const Posting* NoticeFeed::Next() {
    while (!next_ && !ended_) {
        Entry entry;
        if (!reader_.Next(entry))
            ended_ = true;
        else if (entry.kind == Kind::Notice || entry.kind == Kind::DebugText)
            next_ = Posting{std::move(entry), reader_.Here(), follows_, follows_};
        else if (recording::IsOperation(entry.kind) && !polls_.IsPoll(entry))
            follows_ = reader_.Here().offset;
        if (next_ && IsReset(next_->entry))
            LookForReaction(*next_);
    }
    return next_ ? &*next_ : nullptr;
}

// The client takes a reset up at a tick of its own, by asking for the virtual devices. What it did until then it has to
// do in the replay too before it hears of the reset: its ticks fall differently.
void NoticeFeed::LookForReaction(Posting& reset) {
    constexpr std::int64_t SOON = 1'000'000; // microseconds
    PollWatch polls = polls_;
    std::int64_t mustFollow = reset.mustFollow;
    ahead_.Seek(reset.place);
    for (Entry entry; ahead_.Next(entry) && entry.start - reset.entry.end <= SOON;) {
        if (entry.kind == Kind::GetVirtualDeviceList) {
            reset.mustFollow = mustFollow;
            reset.isTakenUp = true;
            return;
        }
        if (recording::IsOperation(entry.kind) && !polls.IsPoll(entry))
            mustFollow = ahead_.Here().offset;
    }
}

} // namespace replay

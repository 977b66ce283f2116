#include "NoticeFeed.h"

namespace replay {

using recording::Entry;
using recording::Kind;

bool NoticeFeed::Open(const std::string& file, std::string& reason) {
    return reader_.Open(file, reason);
}

const Posting* NoticeFeed::Next() {
    while (!next_ && !ended_) {
        Entry entry;
        if (!reader_.Next(entry))
            ended_ = true;
        else if (entry.kind == Kind::Notice || entry.kind == Kind::DebugText)
            next_ = Posting{std::move(entry), reader_.Here(), mustFollow_};
        else if (recording::IsOperation(entry.kind))
            NoteOperation(entry);
    }
    return next_ ? &*next_ : nullptr;
}

void NoticeFeed::NoteOperation(const Entry& entry) {
    if (recording::IsTransaction(entry.kind)) {
        Entry& last = last_[entry.node & 0x3F];
        const bool isPoll = entry.kind == Kind::Read && last.kind == Kind::Read && last.address == entry.address &&
                            last.size == entry.size;
        last = entry;
        if (isPoll)
            return;
    }
    mustFollow_ = reader_.Here().offset;
}

} // namespace replay

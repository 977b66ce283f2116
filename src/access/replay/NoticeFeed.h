// What the library of the record posted: notices and debug text, one after the other.
#pragma once

#include "RecordReader.h"

#include <array>
#include <optional>

namespace replay {

bool IsReset(const recording::Entry& entry);

// A notice, or a piece of debug text, at its place between the operations.
struct Posting {
    recording::Entry entry;
    recording::Position place; // after it
    std::int64_t follows = 0;  // offset after the last operation before it that isn't a poll
    // The same, and of a reset that the client took up soon: after the last one before it did.
    std::int64_t mustFollow = 0;
    bool isTakenUp = false; // it is such a reset
};

// The last operation of each node, to tell polls from the others.
class PollWatch {
public:
    bool IsPoll(const recording::Entry& entry);

private:
    std::array<recording::Entry, 64> last_; // without data
};

class NoticeFeed {
public:
    bool Open(const std::string& file, std::string& reason);
    // The next one; null at the end of the record.
    const Posting* Next();
    void Pass() { next_.reset(); }

private:
    void LookForReaction(Posting& reset);

    recording::RecordReader reader_, ahead_;
    std::optional<Posting> next_;
    std::int64_t follows_ = 0;
    PollWatch polls_;
    bool ended_ = false;
};

} // namespace replay

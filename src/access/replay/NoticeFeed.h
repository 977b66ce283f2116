// What the library of the record posted: notices and debug text, one after the other.
#pragma once

#include "RecordReader.h"

#include <array>
#include <optional>

namespace replay {

// A notice, or a piece of debug text, at its place between the operations.
struct Posting {
    recording::Entry entry;
    recording::Position place;   // after it
    std::int64_t mustFollow = 0; // offset after the last operation before it that isn't a poll
};

class NoticeFeed {
public:
    bool Open(const std::string& file, std::string& reason);
    // The next one; null at the end of the record.
    const Posting* Next();
    void Pass() { next_.reset(); }

private:
    void NoteOperation(const recording::Entry& entry);

    recording::RecordReader reader_;
    std::optional<Posting> next_;
    std::int64_t mustFollow_ = 0;
    std::array<recording::Entry, 64> last_; // operation of each node, without its data
    bool ended_ = false;
};

} // namespace replay

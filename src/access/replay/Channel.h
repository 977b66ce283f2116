// What the record expects of one node, or of one kind of question about the host, in its order.
#pragma once

#include "RecordReader.h"

#include <map>
#include <optional>

namespace replay {

// Nodes by their number; each of the three questions that change nothing by itself; everything else together.
using ChannelKey = std::uint32_t;
ChannelKey ChannelOf(const recording::Entry& operation);
// Changes nothing: may be asked more or less often than in the record.
bool IsQuestion(const recording::Entry& operation);
// Whether `asked` is the recorded operation, whatever its time-out and its result.
bool IsSame(const recording::Entry& recorded, const recording::Entry& asked);

struct Answer {
    recording::Entry entry;
    recording::Position place; // after it
    bool isRepeated = false;   // the last answer once more; the record has gone no further
};

// Has a place of its own in the file, and keeps the last answer to each question.
class Channel {
public:
    explicit Channel(ChannelKey key) : key_(key) {}

    bool Open(const std::string& file, std::string& reason);
    // `lastReset`: offset of the last bus reset that was posted. Questions before it that the program didn't get to ask
    // are passed over, as are polls. Empty if the record doesn't expect this; Expected then tells what it does.
    std::optional<Answer> Find(const recording::Entry& asked, std::int64_t lastReset);
    // The next operation that isn't a poll; null at the end of the record.
    const recording::Entry* Expected() const { return expected_ ? &*expected_ : nullptr; }
    // Before that operation, or the end of the record.
    const recording::Position& Place() const { return expectedPlace_; }

private:
    using Question = std::pair<std::uint64_t, std::uint64_t>; // kind and size, address
    static Question QuestionOf(const recording::Entry& entry);
    bool Advance();
    Answer Take();
    std::optional<Answer> TakeBeyondPolls(const recording::Entry& asked, std::int64_t lastReset);
    void Keep(const recording::Entry& entry);

    ChannelKey key_;
    recording::RecordReader reader_;
    std::optional<recording::Entry> next_, expected_;
    recording::Position before_, expectedPlace_; // of them
    std::map<Question, recording::Entry> answers_;
};

} // namespace replay

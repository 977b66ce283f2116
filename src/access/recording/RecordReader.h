// Reads a record from its start to its last whole entry, with a bounded buffer however long the file is.
#pragma once

#include "RecordFormat.h"

namespace recording {

// Between two entries.
struct Position {
    std::int64_t offset = 0; // of the file
    std::int64_t end = 0;    // of the entry before it, microseconds
    std::uint64_t index = 0; // of the entry after it, from 0
};

class RecordReader {
public:
    RecordReader() = default;
    ~RecordReader();
    RecordReader(const RecordReader&) = delete;
    RecordReader& operator=(const RecordReader&) = delete;

    // At the first entry. False, with the reason, if the file can't be read or isn't a record.
    bool Open(const std::string& path, std::string& reason);
    // False at the end, of which Ending tells more.
    bool Next(Entry& entry);
    void Seek(const Position& position); // one that Here has returned
    [[nodiscard]] const Position& Here() const { return position_; }
    // None: the file ends with a whole entry. Cut: in the middle of one. Damaged: what follows isn't an entry.
    [[nodiscard]] Fault Ending() const { return ending_; }

private:
    bool Fill();

    int descriptor_ = -1;
    Position position_;
    Fault ending_ = Fault::None;
    Bytes buffer_;
    std::size_t used_ = 0; // of the buffer
};

} // namespace recording

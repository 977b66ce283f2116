// Appends to a record. Each entry goes to the file whole in one write, so that a killed program leaves no part of one.
#pragma once

#include "RecordEntry.h"

namespace recording {

class RecordWriter {
public:
    RecordWriter() = default;
    ~RecordWriter();
    RecordWriter(const RecordWriter&) = delete;
    RecordWriter& operator=(const RecordWriter&) = delete;

    // Makes the file, readable by its owner alone, and writes its mark. False, with the reason, if it can't be made; an
    // existing one is never touched.
    bool Create(const std::string& path, std::string& reason);
    // True once the entry is in the file. After a failure nothing more is written, and the file ends with its last
    // whole entry. An entry that is too large is left out.
    bool Append(const Entry& entry);
    [[nodiscard]] bool IsOpen() const { return descriptor_ >= 0; }
    [[nodiscard]] const std::string& Reason() const { return reason_; } // of the failure

private:
    bool WriteWhole(const void* bytes, std::size_t size);
    void Close();

    int descriptor_ = -1;
    std::int64_t size_ = 0, previousEnd_ = 0;
    std::string reason_;
};

} // namespace recording

#include "RecordWriter.h"

#include "RecordFormat.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace recording {

RecordWriter::~RecordWriter() {
    Close();
}

bool RecordWriter::Create(const std::string& path, std::string& reason) {
    constexpr int OWNER_ONLY = 0600;
    Close();
    descriptor_ = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, OWNER_ONLY);
    if (descriptor_ < 0) {
        reason = std::strerror(errno);
        return false;
    }
    size_ = previousEnd_ = 0;
    reason_.clear();
    const bool written = WriteWhole(MARK.data(), MARK.size());
    reason = reason_;
    return written;
}

bool RecordWriter::Append(const Entry& entry) {
    if (descriptor_ < 0)
        return false;
    const Bytes bytes = Encode(entry, previousEnd_);
    if (bytes.empty())
        return true;
    if (!WriteWhole(bytes.data(), bytes.size()))
        return false;
    previousEnd_ = entry.end;
    return true;
}

// A disk that is full takes a part.
bool RecordWriter::WriteWhole(const void* bytes, std::size_t size) {
    ssize_t written = 0;
    do
        written = write(descriptor_, bytes, size);
    while (written < 0 && errno == EINTR);
    if (written == static_cast<ssize_t>(size)) {
        size_ += written;
        return true;
    }
    reason_ = std::strerror(written < 0 ? errno : ENOSPC);
    if (ftruncate(descriptor_, size_) != 0)
        reason_ += "; its last entry is incomplete";
    Close();
    return false;
}

void RecordWriter::Close() {
    if (descriptor_ >= 0)
        close(descriptor_);
    descriptor_ = -1;
}

} // namespace recording

#include "RecordReader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace recording {

namespace {

constexpr std::size_t STEP = 32768; // bytes read at once

ssize_t ReadAt(int descriptor, std::uint8_t* bytes, std::size_t size, std::int64_t offset) {
    ssize_t count = 0;
    do
        count = pread(descriptor, bytes, size, offset);
    while (count < 0 && errno == EINTR);
    return count;
}

} // namespace

RecordReader::~RecordReader() {
    if (descriptor_ >= 0)
        close(descriptor_);
}

bool RecordReader::Open(const std::string& path, std::string& reason) {
    struct stat status {};
    descriptor_ = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); // opening a pipe would wait for its writer
    if (descriptor_ < 0 || fstat(descriptor_, &status) != 0) {
        reason = std::strerror(errno);
        return false;
    }
    std::uint8_t mark[MARK.size()] = {};
    if (!S_ISREG(status.st_mode) || ReadAt(descriptor_, mark, sizeof mark, 0) != static_cast<ssize_t>(sizeof mark) ||
        !std::equal(MARK.begin(), MARK.end(), mark)) {
        reason = "it isn't a record of a bus";
        return false;
    }
    position_.offset = static_cast<std::int64_t>(MARK.size());
    return true;
}

bool RecordReader::Next(Entry& entry) {
    for (;;) {
        const ByteView rest = ByteView(buffer_).subspan(used_);
        Fault fault = Fault::None;
        if (std::optional<Decoded> decoded = Decode(rest, position_.end, fault)) {
            used_ += decoded->size;
            position_ = {position_.offset + static_cast<std::int64_t>(decoded->size), decoded->entry.end,
                         position_.index + 1};
            entry = std::move(decoded->entry);
            return true;
        }
        if (fault == Fault::Damaged || !Fill()) {
            ending_ = rest.empty() ? Fault::None : fault;
            return false;
        }
    }
}

void RecordReader::Seek(const Position& position) {
    position_ = position;
    buffer_.clear();
    used_ = 0;
}

// False at the end of the file.
bool RecordReader::Fill() {
    buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(used_));
    used_ = 0;
    const std::size_t held = buffer_.size();
    buffer_.resize(held + STEP);
    const ssize_t count =
        ReadAt(descriptor_, buffer_.data() + held, STEP, position_.offset + static_cast<std::int64_t>(held));
    buffer_.resize(held + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return count > 0;
}

} // namespace recording

#include "DirectoryLock.h"
#include "FileBytes.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

namespace simulator {
namespace {

constexpr const char* LOCK_FILE = "lock";

// It has the process ID of the last owner.
std::string UserIn(int file) {
    char digits[20];
    const ssize_t size = pread(file, digits, sizeof digits, 0);
    const std::string id(digits, size > 0 ? std::size_t(size) : 0);
    const bool isNumber = !id.empty() && id.find_first_not_of("0123456789") == std::string::npos;
    return isNumber ? "another program (process " + id + ")" : "another program";
}

void WriteUser(int file) {
    const std::string id = std::to_string(getpid());
    if (ftruncate(file, 0) != 0 || pwrite(file, id.data(), id.size(), 0) < 0)
        return; // the lock holds without it
}

} // namespace

DirectoryLock::DirectoryLock(const std::string& directory)
    : file_(OpenLockFile((std::filesystem::path(directory) / LOCK_FILE).string())) {
    if (file_ < 0)
        return;
    taken_ = flock(file_, LOCK_EX | LOCK_NB) == 0;
    inUse_ = !taken_ && errno == EWOULDBLOCK;
    if (taken_)
        WriteUser(file_);
    else
        user_ = UserIn(file_);
}

DirectoryLock::~DirectoryLock() {
    if (file_ >= 0)
        close(file_);
}

} // namespace simulator

#include "LockFile.h"

#include "LockFolder.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace platform {

namespace {

// With the machine's name: machines may share a home, but each has a bus of its own.
std::string FileNameOf(std::string name) {
    char host[256] = "";
    gethostname(host, sizeof host - 1);
    name += std::string("-") + host;
    for (char& character : name)
        if (character == '/' || character == '\0')
            character = '_';
    return name + ".lock";
}

struct flock Range(short type, std::int64_t first, std::int64_t count) {
    struct flock range {};
    range.l_type = type;
    range.l_whence = SEEK_SET;
    range.l_start = first;
    range.l_len = count;
    return range;
}

} // namespace

LockFile::LockFile(const std::string& name) {
    const std::string folder = LockFolder();
    if (folder.empty()) {
        trouble_ = "there is no folder for lock files that only this user can write";
        return;
    }
    const std::string path = folder + "/" + FileNameOf(name);
    descriptor_ = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
    struct flock probe = Range(F_WRLCK, 0, 1);
    if (descriptor_ < 0 || fcntl(descriptor_, F_OFD_GETLK, &probe) != 0)
        trouble_ = "lock file \"" + path + "\": " + std::strerror(errno);
}

LockFile::~LockFile() {
    if (descriptor_ >= 0)
        close(descriptor_);
}

bool LockFile::Lock(std::int64_t byte) {
    return Set(F_WRLCK, byte);
}

bool LockFile::Share(std::int64_t byte) {
    return Set(F_RDLCK, byte);
}

void LockFile::Unlock(std::int64_t byte) {
    Set(F_UNLCK, byte);
}

bool LockFile::OthersHave(std::int64_t first, std::int64_t count) const {
    struct flock probe = Range(F_WRLCK, first, count);
    return fcntl(descriptor_, F_OFD_GETLK, &probe) == 0 && probe.l_type != F_UNLCK;
}

bool LockFile::Set(short type, std::int64_t byte) {
    struct flock range = Range(type, byte, 1);
    return fcntl(descriptor_, F_OFD_SETLK, &range) == 0;
}

} // namespace platform

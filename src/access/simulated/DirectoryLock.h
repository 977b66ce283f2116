// A state directory belongs to one process at a time: each would overwrite what the other one keeps. The lock ends with
// its process, however that ends.
#pragma once

#include <string>

namespace simulator {

class DirectoryLock {
public:
    // Tries to take the lock by the file "lock" of a directory that exists.
    explicit DirectoryLock(const std::string& directory);
    ~DirectoryLock();
    DirectoryLock(const DirectoryLock&) = delete;
    DirectoryLock& operator=(const DirectoryLock&) = delete;

    bool Taken() const { return taken_; }
    // Another process has it. If it is neither taken nor in use, there can't be a lock in that directory.
    bool InUse() const { return inUse_; }
    // "another program (process 4711)"; the number as far as that process has written it.
    const std::string& User() const { return user_; }

private:
    int file_;
    bool taken_ = false, inUse_ = false;
    std::string user_;
};

} // namespace simulator

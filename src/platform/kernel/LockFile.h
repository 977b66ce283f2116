// A file whose bytes stand for what processes lock. Each object holds locks of its own; they end with it, and with its
// process, however that ends.
#pragma once

#include <cstdint>
#include <string>

namespace platform {

class LockFile {
public:
    // In LockFolder(), created if necessary. All processes of this user on this machine share it by its name.
    explicit LockFile(const std::string& name);
    ~LockFile();
    LockFile(const LockFile&) = delete;
    LockFile& operator=(const LockFile&) = delete;

    // Why the file can't be locked; empty when it can. Nothing gets locked otherwise.
    const std::string& Trouble() const { return trouble_; }
    // All return at once, false when another object has the byte. The same object can lock a byte again.
    [[nodiscard]] bool Lock(std::int64_t byte);
    bool Share(std::int64_t byte);
    void Unlock(std::int64_t byte);
    // Whether another object has locked or shares one of the bytes; a count of 0 means all from `first` on.
    [[nodiscard]] bool OthersHave(std::int64_t first, std::int64_t count = 1) const;

private:
    bool Set(short type, std::int64_t byte);

    std::string trouble_;
    int descriptor_ = -1;
};

} // namespace platform

// A flag for work that gives the window system turns and mustn't run again inside itself.
#pragma once

namespace platform {

// Keeps a flag set for as long as it lives.
class FlagGuard {
public:
    explicit FlagGuard(bool& flag) : flag_(flag) { flag_ = true; }
    ~FlagGuard() { flag_ = false; }
    FlagGuard(const FlagGuard&) = delete;
    FlagGuard& operator=(const FlagGuard&) = delete;

private:
    bool& flag_;
};

} // namespace platform

#pragma once

namespace platform {

// A descriptor that is readable from Set to Clear.
class WakeUp {
public:
    WakeUp(); // a Failure when the process has no descriptor left
    ~WakeUp();
    WakeUp(const WakeUp&) = delete;
    WakeUp& operator=(const WakeUp&) = delete;
    int Descriptor() const { return descriptor_; }
    void Set() const; // any thread, signal handlers as well
    void Clear() const;

private:
    int descriptor_;
};

} // namespace platform

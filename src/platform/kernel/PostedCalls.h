// Calls that other threads have left for the window thread.
#pragma once

#include <deque>
#include <functional>
#include <mutex>

namespace platform {

class PostedCalls {
public:
    void Add(std::function<void()> call);
    bool Empty() const;
    // Runs what was posted before this call, in order. A turn inside a call goes on with the rest,
    // and a call that fails leaves the rest for the next turn.
    void Run();

private:
    std::function<void()> TakeFirst(); // empty when there is none

    mutable std::mutex mutex_;
    std::deque<std::function<void()>> calls_;
};

} // namespace platform

// Calls that any thread leaves for the window thread.
#pragma once

#include <deque>
#include <functional>
#include <mutex>

namespace platform {

class PostedCalls {
public:
    void Add(std::function<void()> call);
    bool Empty() const;
    // Runs what has been posted so far, in order. A turn inside a call continues with the rest, and a call that fails
    // leaves the rest for the next turn.
    void Run();

private:
    std::function<void()> TakeFirst(); // empty when there is none

    mutable std::mutex mutex_;
    std::deque<std::function<void()>> calls_;
};

} // namespace platform

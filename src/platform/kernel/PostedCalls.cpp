#include "PostedCalls.h"

#include <utility>

namespace platform {

void PostedCalls::Add(std::function<void()> call) {
    const std::lock_guard lock(mutex_);
    calls_.push_back(std::move(call));
}

bool PostedCalls::Empty() const {
    const std::lock_guard lock(mutex_);
    return calls_.empty();
}

std::function<void()> PostedCalls::TakeFirst() {
    const std::lock_guard lock(mutex_);
    if (calls_.empty())
        return {};
    std::function<void()> first = std::move(calls_.front());
    calls_.pop_front();
    return first;
}

void PostedCalls::Run() {
    std::size_t count = 0;
    {
        const std::lock_guard lock(mutex_);
        count = calls_.size();
    }
    for (; count > 0; --count)
        if (const std::function<void()> call = TakeFirst())
            call();
}

} // namespace platform

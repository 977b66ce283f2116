// An access library by its file, and a client that keeps what it is told.
#pragma once

#include "LibraryCalls.h"

#include <algorithm>
#include <dlfcn.h>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace testing_support {

using bas1394::library::Operations;

// Stays loaded. Throws if a function is missing.
inline Operations OperationsOf(const char* file) {
    std::string reason;
    void* const module = dlopen(file, RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr)
        throw std::runtime_error(dlerror());
    if (!bas1394::library::Bind(module, reason))
        throw std::runtime_error(reason);
    return std::exchange(bas1394::library::globals, {}).Bound;
}

class KeepingClient {
public:
    const Twl1394Client* Get() const { return &client_; }
    std::vector<std::uint32_t> TakeNotices() {
        const std::lock_guard lock(mutex_);
        return std::exchange(notices_, {});
    }
    std::string TakeText() {
        const std::lock_guard lock(mutex_);
        return std::exchange(text_, {});
    }

private:
    std::mutex mutex_;
    std::vector<std::uint32_t> notices_;
    std::string text_;
    Twl1394Client client_{this,
                          [](void* self, std::uint32_t number) {
                              auto& client = *static_cast<KeepingClient*>(self);
                              const std::lock_guard lock(client.mutex_);
                              client.notices_.push_back(number);
                          },
                          [](void* self, const char* text) {
                              auto& client = *static_cast<KeepingClient*>(self);
                              const std::lock_guard lock(client.mutex_);
                              client.text_ += text;
                          }};
};

} // namespace testing_support

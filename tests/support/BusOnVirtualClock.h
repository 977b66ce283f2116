// The simulated bus on the virtual clock.
#pragma once

#include "Simulator.h"
#include "VirtualClock.h"

#include <dlfcn.h>
#include <stdexcept>

namespace testing_support {

inline SimulatorClock CallsOf(platform::testing::VirtualClock& clock) {
    using platform::testing::VirtualClock;
    return {&clock, [](void* context) { return static_cast<VirtualClock*>(context)->Now(); },
            [](void* context, std::int64_t time) { static_cast<VirtualClock*>(context)->Sleep(time); },
            [](void* context, std::int64_t due, void (*call)(void*), void* argument) {
                static_cast<VirtualClock*>(context)->CallAt(due, [=] { call(argument); });
            }};
}

inline void UseVirtualClock(platform::testing::VirtualClock& clock) {
    const SimulatorClock calls = CallsOf(clock);
    SimulatorUseClock(&calls);
}

// The same for a library that records or replays; `name` is its function for that. It stays loaded.
inline void UseClock(const char* library, const char* name, const SimulatorClock* calls) {
    void* module = dlopen(library, RTLD_NOW | RTLD_LOCAL);
    const auto use = module == nullptr ? nullptr : reinterpret_cast<decltype(&SimulatorUseClock)>(dlsym(module, name));
    if (use == nullptr)
        throw std::runtime_error(dlerror());
    use(calls);
}

} // namespace testing_support

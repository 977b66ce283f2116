// The simulated bus on the virtual clock.
#pragma once

#include "Simulator.h"
#include "VirtualClock.h"

namespace testing_support {

inline void UseVirtualClock(platform::testing::VirtualClock& clock) {
    using platform::testing::VirtualClock;
    const SimulatorClock calls{
        &clock, [](void* context) { return static_cast<VirtualClock*>(context)->Now(); },
        [](void* context, std::int64_t time) { static_cast<VirtualClock*>(context)->Sleep(time); },
        [](void* context, std::int64_t due, void (*call)(void*), void* argument) {
            static_cast<VirtualClock*>(context)->CallAt(due, [=] { call(argument); });
        }};
    SimulatorUseClock(&calls);
}

} // namespace testing_support

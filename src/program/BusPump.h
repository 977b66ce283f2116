// What drives the bus and an unattended run under any front end: three timers, the library's notices, and the answer
// to a target that announces itself.
#pragma once

#include "WindowSystem.h"

#include <memory>

namespace program {

class BusPump {
public:
    BusPump(); // all off
    ~BusPump();
    BusPump(const BusPump&) = delete;
    BusPump& operator=(const BusPump&) = delete;

    void StartBusTimers();
    void TakeNotices(); // of the library: bus resets, data, debug text
    void Stop();

    const std::shared_ptr<platform::Timer> tmrBusReset, tmrIncomingData; // every 20 ms
    const std::shared_ptr<platform::Timer> tmrAutomationScheduler;       // every second
};

// Answers a target that has announced itself with the broadcast halt, which keeps it in its bootloader.
void IEEE1394IncomingDataHandler();

} // namespace program

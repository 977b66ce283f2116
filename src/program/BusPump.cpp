#include "BusPump.h"

#include "BusEnumeration.h"
#include "bas1394.h"
#include "basAutomation.h"
#include "basBootloader.h"

namespace program {

namespace {

constexpr std::int32_t BUS_INTERVAL = 20;         // ms
constexpr std::int32_t SCHEDULER_INTERVAL = 1000; // ms

} // namespace

BusPump::BusPump()
    : tmrBusReset(platform::MakeTimer(BUS_INTERVAL, bas1394::BusResetHandlerThread)),
      tmrIncomingData(platform::MakeTimer(BUS_INTERVAL, bas1394::IncomingDataThreadHandler)),
      tmrAutomationScheduler(platform::MakeTimer(SCHEDULER_INTERVAL, basAutomation::SchedulerTick)) {}

BusPump::~BusPump() {
    Stop();
}

void BusPump::StartBusTimers() {
    tmrBusReset->SetEnabled(true);
    tmrIncomingData->SetEnabled(true);
}

void BusPump::TakeNotices() {
    bas1394::HookCallbackWindow(true);
}

void BusPump::Stop() {
    bas1394::HookCallbackWindow(false);
    for (const auto& timer : {tmrBusReset, tmrIncomingData, tmrAutomationScheduler})
        timer->SetEnabled(false);
}

void IEEE1394IncomingDataHandler() {
    const std::int32_t code = basBootloader::HaltBootloader(0);
    if (code == basBootloader::SUCCESS)
        basDebug::StatusDisplayOfMainWindow("Broadcasted bootloader halt command.", "TRACE");
    else
        basDebug::StatusDisplayOfMainWindow(
            fmt::format("WARNING: Failed to broadcast bootloader halt command, code {}", code), "WARNING");
}

} // namespace program

// The tick of tmrAutomationScheduler: waits for the bus, runs a pass, repeats it after each reset
// of the device.
#include "bas1394.h"
#include "basAutomation.h"

namespace basAutomation {

namespace {

constexpr std::int16_t SETTLED_TICKS = 4; // in a row with the bus enumerated
constexpr std::int32_t MAX_REPEATS = 5;   // resets of the device in one run

void EndRun() {
    if (hooks.endRun)
        hooks.endRun();
}

void StopTimer() {
    if (hooks.enableScheduler)
        hooks.enableScheduler(false);
}

void WaitForTheDevice() {
    globals.SchedulerTicks = 0;
    if (++globals.SchedulerAttempts <= MAX_REPEATS)
        return;
    StatusDisplay(LEVEL_ERROR, "Performed {} attempts to reset the device and resume the operation(s).  Aborting.",
                  globals.SchedulerAttempts);
    EndRun();
}

void RunPass() {
    if (!CommandLineHasOperations(basApp::globals.CommandLineOptions))
        return StopTimer();
    // A copy: the work gives turns, and a menu command may parse another text in one.
    const std::vector<std::string> options = basApp::globals.CommandLineOptions;
    if (PerformUnattendedOperations(options) == DEVICE_WAS_RESET)
        WaitForTheDevice();
    else
        EndRun();
}

struct BusyMark {
    BusyMark() { globals.SchedulerBusy = true; }
    ~BusyMark() { globals.SchedulerBusy = false; }
    BusyMark(const BusyMark&) = delete;
    BusyMark& operator=(const BusyMark&) = delete;
};

} // namespace

void SchedulerTick() {
    if (globals.SchedulerBusy) {
        StatusDisplay(LEVEL_WARNING, "tmrAutomationScheduler: ERROR - re-entering scheduler.  Aborting operation!");
        return;
    }
    const BusyMark busy;
    if (!bas1394::globals.BusEnumerated)
        globals.SchedulerTicks = 0;
    else if (++globals.SchedulerTicks >= SETTLED_TICKS)
        RunPass();
}

} // namespace basAutomation

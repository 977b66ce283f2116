// The tick of tmrAutomationScheduler: waits for the bus, runs a pass, and repeats it after each reset of the device.
#include "EndRequest.h"
#include "FlagGuard.h"
#include "OneTarget.h"
#include "bas1394.h"
#include "basAutomation.h"

namespace basAutomation {

namespace {

constexpr std::int16_t SETTLED_TICKS = 4; // in a row with the bus enumerated

void EndRun() {
    basApp::CurrentFrontEnd().EndRun();
}

void StopTimer() {
    basApp::CurrentFrontEnd().EnableScheduler(false);
}

void WaitForTheDevice() {
    globals.SchedulerTicks = 0;
    if (++globals.SchedulerAttempts <= MAX_RESETS)
        return;
    StatusDisplay(LEVEL_ERROR, "Performed {} attempts to reset the device and resume the operation(s).  Aborting.",
                  globals.SchedulerAttempts);
    globals.Verdict.End(basApp::OutcomeKind::Unchanged, "The device doesn't come up in its bootloader.");
    EndRun();
}

std::int32_t Pass() {
    const platform::FlagGuard underWay(globals.PassUnderWay);
    // A copy: the work gives the window system turns, in which a menu command may parse another text.
    const std::vector<std::string> options = basApp::globals.CommandLineOptions;
    return PerformUnattendedOperations(options, globals.Verdict);
}

void RunPass() {
    if (!CommandLineHasOperations(basApp::globals.CommandLineOptions))
        return StopTimer();
    if (Pass() != DEVICE_WAS_RESET)
        return EndRun();
    globals.DeviceWasReset = true;
    if (!basApp::globals.ClosesAfterOperation && !platform::EndRequested())
        return WaitForTheDevice();
    TellEarlyEnd();
    EndRun();
}

} // namespace

void TellEarlyEnd() {
    const char* state = "No device was changed.";
    if (globals.PersistentParamsInitialized)
        state = "The device's persistent parameters are set up anew, its GUID is not programmed yet.";
    else if (globals.DeviceWasReset)
        state = "The device was reset into its bootloader, nothing was written to it.";
    StatusDisplay(LEVEL_ERROR, "The run was ended early, before its operations were carried out.  {}", state);
    globals.Verdict.End(basApp::OutcomeKind::Interrupted, state);
}

void SchedulerTick() {
    if (globals.SchedulerBusy) {
        StatusDisplay(LEVEL_WARNING, "tmrAutomationScheduler: ERROR - re-entering scheduler.  Aborting operation!");
        return;
    }
    const platform::FlagGuard busy(globals.SchedulerBusy);
    if (!bas1394::globals.BusEnumerated)
        globals.SchedulerTicks = 0;
    else if (++globals.SchedulerTicks >= SETTLED_TICKS)
        RunPass();
}

bool EndAfterOperation() {
    if (globals.PassUnderWay && !basApp::globals.ClosesAfterOperation) {
        basApp::globals.ClosesAfterOperation = true;
        StatusDisplay(LEVEL_USER, "The program closes as soon as the operation under way has finished.");
    }
    return globals.PassUnderWay;
}

} // namespace basAutomation

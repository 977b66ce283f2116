#include "ProgramEnd.h"

#include "Clock.h"
#include "EndRequest.h"
#include "PrintingFrontEnd.h"
#include "Program.h"
#include "basAutomation.h"

#include <utility>

namespace program {

namespace {

constexpr std::int32_t INTERVAL = 100; // ms

// A tick may come in a turn in the middle of an operation, which checks for the request itself and is left to finish.
void EndIfPossible() {
    if (!basApp::CurrentFrontEnd().ReadyToEnd() || basAutomation::EndAfterOperation() ||
        basAutomation::globals.SchedulerBusy)
        return;
    if (!std::exchange(globals.EndReported, true)) {
        if (basApp::globals.PerformUnattendedOperations)
            basAutomation::TellEarlyEnd();
        else
            basApp::StatusDisplay(LEVEL_USER, "A signal has asked the program to end.");
    }
    basApp::CurrentFrontEnd().Close();
}

} // namespace

EndWatch::EndWatch()
    : timer_(platform::MakeTimer(INTERVAL, EndIfPossible)),
      watch_(platform::WatchDescriptor(platform::EndRequestDescriptor(), platform::DescriptorEvent::Readable, [this] {
          watch_.reset(); // the descriptor stays readable
          timer_->SetEnabled(true);
      })) {}

void EndWithoutWindows(const char* reason) {
    static PrintingFrontEnd lines; // painting anything could end the process again
    basApp::UseFrontEnd(&lines);
    // The access library may already be unloaded: nothing may call it any more.
    basApp::hooks.queryElapsedTimeMs = [](std::int64_t counter) {
        return static_cast<float>(platform::QueryPerformanceCounter() - counter) * 1000 /
               static_cast<float>(platform::QueryPerformanceFrequency());
    };
    basDebug::Display("basApp", LEVEL_ERROR, "{}", reason);
    basBootloader::TellBrokenLoad();
    basApp::ShutdownWithoutLibrary();
}

} // namespace program

// How the program ends when neither a user nor a run ends it.
#include "Wiring.h"

#include "Clock.h"
#include "EndRequest.h"
#include "basAutomation.h"

#include <utility>

namespace wiring {

namespace {

constexpr std::int32_t INTERVAL = 100; // ms

// Ticks also come in turns within work, which is left to finish: it looks at the request itself.
void EndIfPossible() {
    const bool ready = !globals.windows.readyToEnd || globals.windows.readyToEnd();
    if (!ready || basAutomation::EndAfterOperation() || basAutomation::globals.SchedulerBusy)
        return;
    if (!std::exchange(globals.EndTold, true)) {
        if (basApp::globals.PerformUnattendedOperations)
            basAutomation::TellEarlyEnd();
        else
            basApp::StatusDisplay(LEVEL_USER, "A signal has asked the program to end.");
    }
    if (globals.windows.unloadWindows)
        globals.windows.unloadWindows();
}

} // namespace

EndWatch::EndWatch()
    : timer_(platform::MakeTimer(INTERVAL, EndIfPossible)),
      watch_(platform::WatchDescriptor(platform::EndRequestDescriptor(), platform::DescriptorEvent::Readable, [this] {
          watch_.reset(); // the descriptor stays readable
          timer_->SetEnabled(true);
      })) {}

void EndWithoutWindows(const char* reason) {
    basDebug::hooks.statusWindowWants = nullptr; // whatever is painted may end the process once more
    // The access library may have been taken down before: nothing may call it any more.
    basApp::hooks.queryElapsedTimeMs = [](std::int64_t counter) {
        return static_cast<float>(platform::QueryPerformanceCounter() - counter) * 1000 /
               static_cast<float>(platform::QueryPerformanceFrequency());
    };
    basApp::hooks.unloadLibrary = nullptr;
    basApp::hooks.endProgram = nullptr;
    basDebug::Display("basApp", LEVEL_ERROR, "{}", reason);
    basBootloader::TellBrokenLoad();
    basApp::ShutdownApplication();
}

} // namespace wiring

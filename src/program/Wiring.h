// Joins the layers: fills every Hooks struct below the windows, and owns the store.
#pragma once

#include "ImageDownload.h"
#include "WindowSystem.h"
#include "clsDbManager.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace wiring {

// Prints one line and flushes, so that a supervisor sees it at once.
void PrintToStandardOutput(std::string_view line);
void PrintToStandardError(std::string_view line);

// What the windows give to the layers below. An empty function means that there is no such window.
struct WindowHooks {
    // The parent window, frmMain and its timers.
    std::function<void()> loadParentWindow;
    std::function<bool()> mainWindowExists;
    std::function<void()> focusMainWindow; // if it exists and is visible
    std::function<void()> nodesChanged;    // redraws the device list, with a turn
    std::function<void()> resetComplete;
    std::function<void()> incomingData; // a target has announced itself: keeps it in its bootloader
    std::function<void(std::int32_t handle, std::int32_t count)> shellCharactersLost;
    std::function<void(const std::string& text)> debugSpew;   // text for txtDebugSpew
    std::function<void(const std::string& text)> storeNotice; // a strip of the parent window; "" hides it
    std::function<void()> startBusTimers;
    std::function<void(bool enabled)> enableMainWindow;
    std::function<void(bool enabled)> enableScheduler;
    std::function<void()> endRun;     // of an unattended run; unloads the windows
    std::function<void()> endProgram; // the last step of the shutdown
    // Takes down what waits for a user. True when nothing is under way that has to come to its end first.
    std::function<bool()> readyToEnd;
    std::function<void()> unloadWindows; // as a user's closing does; ends the program
    // The status windows.
    std::function<bool(std::size_t slot, std::int32_t level)> statusWindowWants;
    std::function<void(std::size_t slot, std::string_view message, float elapsedTime, std::int32_t level,
                       std::string_view module)>
        postToStatusWindow;
    std::function<std::size_t()> statusWindowCount;
    // Where an unattended run is followed without windows.
    std::function<void(std::string_view line)> standardOutput = PrintToStandardOutput;
    std::function<void(std::string_view line)> standardError = PrintToStandardError;
};

struct Globals {
    std::unique_ptr<clsDbManager> DbManager; // from Main to ShutdownApplication
    WindowHooks windows;                     // as given to WireProgram
    // The progress line printed last.
    basBootloader::LoadProgress::Step ShownStep = basBootloader::LoadProgress::Step::Done;
    std::int64_t ShownTwentieth = 0; // of the section's length
    bool EndTold = false;            // that a signal ends the program
};
extern Globals globals;

// Call it once, before basApp::Main.
void WireProgram(const WindowHooks& windows);

// --- The end from outside (ProgramEnd.cpp) ---

// For the time after basApp::Main: while it exists, a signal that asks for the end ends the program in order.
class EndWatch {
public:
    EndWatch();
    EndWatch(const EndWatch&) = delete;
    EndWatch& operator=(const EndWatch&) = delete;

private:
    std::unique_ptr<platform::Timer> timer_; // off until the signal
    std::unique_ptr<platform::DescriptorWatch> watch_;
};
// For a process that is ending under the program, in the middle of whatever it does: an ERROR line with `reason`
// and the state of the device, then the shutdown, without windows and access library.
void EndWithoutWindows(const char* reason);

// --- What an unattended run prints (Console.cpp) ---

// A closed pipe on standard output doesn't end the process.
void SurviveLostReader();

// Messages of level WATCH and above, one per line: "<level> <message>".
void EchoMessage(std::string_view message, std::int32_t level);
// "progress <step> <bytes>/<length>" at each new step and each twentieth of the length.
void EchoProgress(const basBootloader::LoadProgress& progress);

} // namespace wiring

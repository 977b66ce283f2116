// The windows that exist, and what the layers below are given of them.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

class MDIForm1;
class frmMain;
class frmStatus;

namespace windows {

struct Globals {
    MDIForm1* parent = nullptr;
    ::frmMain* main = nullptr;               // cleared by its Form_Unload
    std::vector<::frmStatus*> statusWindows; // slots; a closed window keeps its slot
};
extern Globals globals;

// What the windows call that lies above them. Filled by main.
struct Hooks {
    std::function<void()> shutdownApplication;
};
extern Hooks hooks;

// Creates and loads MDIForm1, which loads frmMain and the first frmStatus.
void LoadParentWindow();
void UnloadParentWindow();
// The end of an unattended run: stop the scheduler, a turn, repaint, 2000 ms, unload the parent.
void EndUnattendedRun();

// The main window, each doing nothing while it doesn't exist.
void FocusMainWindow(); // if it is visible
void NodesChanged();
void AppendDebugSpew(const std::string& text);
void StartBusTimers();
void EnableMainWindow(bool enabled);
void EnableScheduler(bool enabled);

bool StatusWindowWants(std::size_t slot, std::int32_t level);
void PostToStatusWindow(std::size_t slot, std::string_view message, float elapsedTime, std::int32_t level,
                        std::string_view module);

} // namespace windows

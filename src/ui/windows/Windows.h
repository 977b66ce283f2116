// The windows that exist, and what the layers below are given of them.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

class Form;
class MDIForm1;
class QMenu;
class frmMain;
class frmStatus;

namespace windows {

struct Globals {
    MDIForm1* parent = nullptr;
    ::frmMain* main = nullptr;               // cleared by its Form_Unload
    std::vector<::frmStatus*> statusWindows; // slots; a closed window keeps its slot, hidden
    std::vector<Form*> shellWindows;         // the same lists of the other windows, whose slots are
    std::vector<Form*> memoryWindows;        // emptied on closing; slot 0 always exists
    std::vector<Form*> firmwareWindows;
};
extern Globals globals;

// What the windows call that lies above them. Filled by WindowWiring.
struct Hooks {
    std::function<void()> shutdownApplication;
    std::function<std::int32_t()> sendErrorReport; // 1, or -1 when it failed
};
extern Hooks hooks;

// Creates and loads MDIForm1, which loads frmMain and the first frmStatus.
void LoadParentWindow();
void UnloadParentWindow();
// The first empty slot of a list, which grows by one when there is none.
std::size_t EmptySlot(std::vector<Form*>& list);
// Whether a load runs, or its window is still busy with its end.
bool LoadInProgress();
// Its browser says so; false when it has none.
bool TellLoadInProgress();
// Whether a child window or an unattended run is in the middle of something; then the parent closes
// after that, by itself.
bool ParentClosesLater();
// Declines the dialog that is up, if any, and says whether the parent may be closed: not above a dialog that is
// still on its way out, nor while a load runs.
bool ReadyToEnd();
// Unloads each window of a list and empties its slot.
void UnloadAll(std::vector<Form*>& list);
// Behind a menu's own items, a line for each visible child window that brings it to the front.
void ListChildWindows(QMenu* menu);
// Where the help pages are: a setting, by default those that ship with the program. No "/" at the end.
std::string HelpHost();
// A strip of the parent window with `text`, if there is a parent.
void ShowStoreNotice(const std::string& text);
// The end of an unattended run: stop the scheduler, a turn, repaint, 2000 ms, unload the parent.
void EndUnattendedRun();

// The main window, each doing nothing while it doesn't exist.
void FocusMainWindow(); // if it is visible
void NodesChanged();
void ResetComplete();
void IncomingData();
void CharactersLost(std::int32_t handle, std::int32_t count); // to the shell window on that target
void AppendDebugSpew(const std::string& text);
void StartBusTimers();
void EnableMainWindow(bool enabled);
void EnableScheduler(bool enabled);

bool StatusWindowWants(std::size_t slot, std::int32_t level);
void PostToStatusWindow(std::size_t slot, std::string_view message, float elapsedTime, std::int32_t level,
                        std::string_view module);

} // namespace windows

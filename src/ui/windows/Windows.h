// The windows that exist, and what concerns several of them.
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
class frmShell;
class frmStatus;

namespace windows {

struct Globals {
    MDIForm1* parent = nullptr;
    ::frmMain* main = nullptr;               // cleared by its Form_Unload
    std::vector<::frmStatus*> statusWindows; // slots; a closed window keeps its slot, hidden
    std::vector<Form*> shellWindows;         // the same lists of the other windows, whose slots are
    std::vector<Form*> memoryWindows;        // emptied on closing; slot 0 always exists
    std::vector<Form*> firmwareWindows;
    bool startAgain = false; // once the program has ended
};
extern Globals globals;

// Creates and loads MDIForm1, which loads frmMain and the first frmStatus.
void LoadParentWindow();
void UnloadParentWindow();
// The first empty slot of a list, which grows by one when there is none.
std::size_t EmptySlot(std::vector<Form*>& list);
// Whether a load runs, or its window is still busy with its end.
bool LoadInProgress();
// Has its window report the load; false if no window is loading.
bool TellLoadInProgress();
// Whether a child window or an unattended run is in the middle of something; the parent then closes
// when that has finished.
bool ParentClosesLater();
// Declines the dialog that is up, if any, and says whether the parent may be closed: not above a dialog that is
// still on its way out, nor while a load runs.
bool ReadyToEnd();
void ForEachShell(const std::function<void(frmShell& shell)>& step);
// Unloads each window of a list and empties its slot.
void UnloadAll(std::vector<Form*>& list);
// After a menu's own items, a line for each visible child window that brings it to the front.
void ListChildWindows(QMenu* menu);
// Where the help pages are: a setting, by default those that ship with the program. No "/" at the end.
std::string HelpHost();
// The end of an unattended run: stop the scheduler, a turn, repaint, 2000 ms, unload the parent.
void EndUnattendedRun();

void EnableMainWindow(bool enabled);

bool StatusWindowWants(std::size_t slot, std::int32_t level);
void PostToStatusWindow(std::size_t slot, std::string_view message, float elapsedTime, std::int32_t level,
                        std::string_view module);

} // namespace windows

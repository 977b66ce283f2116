// The program's globals and its own messages.
#include "basApp.h"

#include "Dialogs.h"

namespace basApp {

Globals globals;
Hooks hooks;

namespace {

FrontEnd noFrontEnd;
FrontEnd* frontEnd = &noFrontEnd;

} // namespace

void UseFrontEnd(FrontEnd* newFrontEnd) {
    frontEnd = newFrontEnd != nullptr ? newFrontEnd : &noFrontEnd;
}

FrontEnd& CurrentFrontEnd() {
    return *frontEnd;
}

bool StatusDisplayWanted(std::int32_t level) {
    return CurrentFrontEnd().IsOpen() ? basDebug::Wanted(level) : level >= LEVEL_ERROR;
}

void StatusDisplayText(std::string_view message, std::int32_t level) {
    if (CurrentFrontEnd().IsOpen()) {
        basDebug::StatusDisplay(message, level, "basApp");
        return;
    }
    if (level < LEVEL_ERROR)
        return;
    const std::string caption = fmt::format("basApp Message: {} level", basDebug::GetLevelName(level));
    if (!globals.PerformUnattendedOperations)
        platform::CurrentDialogs().MessageBox(std::string(message), caption);
    else if (hooks.writeStatusFileLine)
        hooks.writeStatusFileLine(caption); // the caption alone
}

void TellStoreNotice(const std::string& text) {
    if (globals.StoreNotice.empty() == text.empty())
        return;
    globals.StoreNotice = text;
    CurrentFrontEnd().ShowStoreNotice(text);
}

void MessageBoxOrStatusFile(const std::string& text, const std::string& caption) {
    if (!globals.PerformUnattendedOperations)
        platform::CurrentDialogs().MessageBox(text, caption);
    else if (hooks.writeStatusFileLine)
        hooks.writeStatusFileLine(text);
}

} // namespace basApp

#include "Windows.h"

#include "Clock.h"
#include "Form.h"
#include "MDIForm1.h"
#include "Paths.h"
#include "SettingKeys.h"
#include "WindowSettings.h"
#include "basApp.h"
#include "basAutomation.h"
#include "frmMain.h"
#include "frmSelectFirmware.h"
#include "frmShell.h"
#include "frmStatus.h"

#include <QApplication>
#include <QDialog>

#include <algorithm>
#include <utility>

namespace windows {

Globals globals;

namespace {

::frmStatus* StatusWindow(std::size_t slot) {
    return slot < globals.statusWindows.size() ? globals.statusWindows[slot] : nullptr;
}

frmSelectFirmware* LoadingBrowser() {
    for (Form* form : globals.firmwareWindows)
        if (auto* browser = qobject_cast<frmSelectFirmware*>(form); browser != nullptr && browser->LoadInProgress())
            return browser;
    return nullptr;
}

} // namespace

void LoadParentWindow() {
    globals.parent = new MDIForm1;
    globals.parent->MDIForm_Load();
}

void UnloadParentWindow() {
    if (globals.parent != nullptr)
        globals.parent->close();
}

std::size_t EmptySlot(std::vector<Form*>& list) {
    const auto empty = std::find(list.begin(), list.end(), nullptr);
    const auto slot = std::size_t(empty - list.begin());
    if (empty == list.end())
        list.push_back(nullptr);
    return slot;
}

bool LoadInProgress() {
    return basApp::globals.DownloadInProgress || LoadingBrowser() != nullptr;
}

bool TellLoadInProgress() {
    frmSelectFirmware* browser = LoadingBrowser();
    if (browser != nullptr)
        browser->TellLoadInProgress();
    return browser != nullptr;
}

bool ParentClosesLater() {
    return basAutomation::EndAfterOperation() ||
           std::ranges::any_of(globals.parent->findChildren<Form*>(),
                               [](Form* form) { return form->closesLater(globals.parent); });
}

bool ReadyToEnd() {
    QWidget* modal = QApplication::activeModalWidget();
    if (auto* dialog = qobject_cast<QDialog*>(modal))
        dialog->reject();
    else if (modal != nullptr)
        modal->close();
    return modal == nullptr && !LoadInProgress();
}

void ForEachShell(const std::function<void(::frmShell& shell)>& step) {
    for (Form* form : globals.shellWindows)
        if (auto* shell = qobject_cast<::frmShell*>(form))
            step(*shell);
}

void UnloadAll(std::vector<Form*>& list) {
    for (Form*& slot : list)
        if (Form* form = std::exchange(slot, nullptr))
            form->Unload();
}

void ListChildWindows(QMenu* menu) {
    constexpr const char* LISTED = "childWindow";
    for (QAction* action : menu->actions())
        if (action->objectName() == LISTED)
            delete action; // taken out only, it would stay the menu's for good
    if (globals.parent == nullptr)
        return;
    menu->addSeparator()->setObjectName(LISTED);
    QMdiArea* area = globals.parent->mdiArea;
    constexpr int DIGITS = 9; // that can be access keys
    int number = 0;
    for (QMdiSubWindow* frame : area->subWindowList()) {
        if (!frame->isVisible())
            continue;
        const auto* form = qobject_cast<Form*>(frame->widget());
        const QString which = form == nullptr ? QString() : form->whichOne();
        QString caption = frame->windowTitle() + (which.isEmpty() ? "" : " (" + which + ")");
        caption.replace('&', "&&");
        if (++number <= DIGITS)
            caption.prepend(QString("&%1 ").arg(number));
        QAction* action = menu->addAction(caption, frame, [frame] { globals.parent->BringForward(frame); });
        action->setObjectName(LISTED);
        action->setEnabled(frame->widget() != nullptr && frame->widget()->isEnabled());
        action->setCheckable(true);
        action->setChecked(frame == area->activeSubWindow());
    }
}

std::string HelpHost() {
    return windowSettings::Get(settingKeys::GLOBAL_SECTION, settingKeys::HELP_HOST,
                               "file://" + platform::ExecutableDirectory() + "/docs/help");
}

void EndUnattendedRun() {
    if (globals.main != nullptr) {
        globals.main->tmrAutomationScheduler->setEnabled(false);
        platform::DoEvents();
    }
    if (globals.main != nullptr) // it may have been closed in that turn
        globals.main->repaint();
    platform::Sleep(2000);
    UnloadParentWindow();
}

void EnableMainWindow(bool enabled) {
    if (globals.main == nullptr)
        return;
    globals.main->setEnabled(enabled);
    if (globals.parent != nullptr)
        globals.parent->ShowMenusOfActiveChild();
}

bool StatusWindowWants(std::size_t slot, std::int32_t level) {
    const ::frmStatus* window = StatusWindow(slot);
    return window != nullptr && !window->unloaded() && level >= window->MessageLevel;
}

void PostToStatusWindow(std::size_t slot, std::string_view message, float elapsedTime, std::int32_t level,
                        std::string_view module) {
    if (::frmStatus* window = StatusWindow(slot))
        window->PostMessage(message, elapsedTime, level, module);
}

} // namespace windows

// The menus of the shell window, and the bootloader commands in them.

#include "CodePage.h"
#include "Dialogs.h"
#include "MDIForm1.h"
#include "Menus.h"
#include "WindowSettings.h"
#include "Windows.h"
#include "basApp.h"
#include "basBootloader.h"
#include "basUtils.h"
#include "frmCRCs.h"
#include "frmShell.h"

#include <fmt/format.h>

using namespace basBootloader;

namespace {

constexpr const char* MODULE = frmShell::NAME;

// Logs a failed command: its text, then the code.
void TellFailure(std::int32_t level, const char* text, std::int32_t code) {
    if (code != SUCCESS)
        basDebug::Display(MODULE, level, "{}{}", text, code);
}

// A number entered by the user; `otherwise` if there is none.
std::int32_t AskNumber(const char* prompt, const char* title, std::int32_t present, std::int32_t otherwise) {
    const std::string answer = platform::CurrentDialogs().InputBox(prompt, title, std::to_string(present));
    if (!basUtils::IsNumericText(answer))
        return otherwise;
    std::int32_t number = otherwise;
    platform::Attempt([&] { number = platform::NumberFromText(answer); }, platform::IgnoreFailure);
    return number;
}

} // namespace

std::vector<QMenu*> frmShell::menus() {
    return {mnuFile, mnuCommand, mnuView, mnuSettings, mnuWindow};
}

void frmShell::BuildMenus() {
    mnuFile = MakeMenu(this, "mnuFile", "&File", {{&mnuClose, "mnuClose", "&Close", [this] { Unload(); }}});
    BuildCommandMenu();
    BuildViewMenu();
    mnuSettings = MakeMenu(this, "mnuSettings", "&Settings",
                           {{&mnuPollingRate, "mnuPollingRate", "&Polling Rate", [this] { mnuPollingRate_Click(); }}});
    const auto area = [](void (QMdiArea::*arrange)()) {
        if (windows::globals.parent == nullptr)
            return;
        QMdiArea* children = windows::globals.parent->mdiArea; // in one expression g++ 12 sanitizes a null pointer
        (children->*arrange)();
    };
    mnuWindow = MakeMenu(this, "mnuWindow", "&Window",
                         {{&mnuTile, "mnuTile", "&Tile", [area] { area(&QMdiArea::tileSubWindows); }},
                          {&mnuCascade, "mnuCascade", "&Cascade", [area] { area(&QMdiArea::cascadeSubWindows); }}});
    connect(mnuWindow, &QMenu::aboutToShow, this, [this] { windows::ListChildWindows(mnuWindow); });
}

void frmShell::BuildCommandMenu() {
    mnuCommand = MakeMenu(
        this, "mnuCommand", "&Command",
        {{&mnuSwitchTo1394shell, "mnuSwitchTo1394shell", "&Switch to 1394 Shell",
          [this] { mnuSwitchTo1394shell_Click(); }},
         {&mnuReset, "mnuReset", "&Reset", [this] { mnuReset_Click(); }},
         {&mnuHalt, "mnuHalt", "&Halt", [this] { mnuHalt_Click(); }},
         {&mnuStartDebugger, "mnuStartDebugger", "Start &Debugger", [this] { StartImage(IMAGE_DEBUGGER); }},
         {&mnuStartApplication, "mnuStartApplication", "Start &Application", [this] { StartImage(IMAGE_APPLICATION); }},
         {&mnuGetDebugGUID, "mnuGetDebugGUID", "&GetDebugGUID", [this] { mnuGetDebugGUID_Click(); }},
         {&mnuInitializePersistentParameters, "mnuInitializePersistentParameters", "&Initialize Persistent Parameters",
          [this] { mnuInitializePersistentParameters_Click(); }},
         {&mnuFirmwareCRCs, "mnuFirmwareCRCs", "Get Firmware &CRCs...", [this] { mnuFirmwareCRCs_Click(); }}});
    mnuFirmwareCRCs->setEnabled(false);
}

void frmShell::BuildViewMenu() {
    const auto stampLog = [this] {
        if (log_)
            log_->setTimestamps(mnuLogTimestamps->isChecked());
    };
    mnuView =
        MakeMenu(this, "mnuView", "&View",
                 {Checkable({&mnuAlwaysOnTop, "mnuAlwaysOnTop", "Always On &Top"}),
                  Checkable({&mnuBufferWrapNotices, "mnuBufferWrapNotices", "&Buffer Wrap Notices"}),
                  Separator(),
                  {&mnuFind, "mnuFind", "&Find...", [this] { mnuFind_Click(); }, "Ctrl+Shift+F"},
                  {&mnuFindNext, "mnuFindNext", "Find &Next", [this] { txtShell->Find(wanted_); }, "Ctrl+Shift+G"},
                  {&mnuClear, "mnuClear", "&Clear", [this] { txtShell->Replace({}); }, "Ctrl+Shift+L"},
                  {&mnuLargerText, "mnuLargerText", "La&rger Text", [this] { txtShell->zoomIn(); }, "Ctrl++"},
                  {&mnuSmallerText, "mnuSmallerText", "S&maller Text", [this] { txtShell->zoomOut(); }, "Ctrl+-"},
                  {&mnuScrollBack, "mnuScrollBack", "Lines &Kept...", [this] { mnuScrollBack_Click(); }},
                  Separator(),
                  Checkable({&mnuLogToFile, "mnuLogToFile", "&Log to File", [this] { mnuLogToFile_Click(); }}),
                  Checkable({&mnuLogTimestamps, "mnuLogTimestamps", "Time&stamps in Log", stampLog})});
}

void frmShell::mnuSwitchTo1394shell_Click() {
    TellFailure(LEVEL_ERROR, "mnuSwitchTo1394Shell failure: SwitchTo1394Shell call failed, code ",
                SwitchTo1394Shell(currentHandle_, 0, 0));
}

void frmShell::mnuReset_Click() {
    TellFailure(LEVEL_USER, "cmdReset failed: ResetDevice returned code ",
                ResetDevice(currentHandle_, RESET_INTO_APPLICATION));
}

void frmShell::mnuHalt_Click() {
    TellFailure(LEVEL_USER, "cmdHalt failed: ResetDevice returned code ", HaltBootloader(currentHandle_));
}

void frmShell::StartImage(std::int32_t imageType) {
    std::int32_t crcFlag = 0;
    const std::int32_t code = basBootloader::StartImage(currentHandle_, imageType, crcFlag);
    if (code == SUCCESS)
        basDebug::Display(MODULE, LEVEL_USER, "Program started successfully, CRCflag = {}", crcFlag);
    else
        basDebug::Display(MODULE, LEVEL_USER, "Failed to start program image, code {}, CRCflag = {}", code, crcFlag);
}

void frmShell::mnuGetDebugGUID_Click() {
    ByteArray guid;
    const std::int32_t code = GetDebugGUID(currentHandle_, guid);
    if (code == SUCCESS)
        basDebug::Display(MODULE, LEVEL_USER, "Bootloader debug GUID = {}", basUtils::ByteArrayToHexString(guid));
    else
        basDebug::Display(MODULE, LEVEL_WARNING, "GetDebugGUID failed, code {}", code);
}

void frmShell::mnuInitializePersistentParameters_Click() {
    if (platform::CurrentDialogs().YesNo(
            "Are you sure you want to overwrite the Config ROM GUID, the MAC, and a bunch of other stuff?",
            "Initialize Persistent Parameters"))
        TellFailure(LEVEL_USER, "cmdReset failed: ResetDevice returned code ",
                    InitializePersistentParams(currentHandle_));
}

void frmShell::mnuFirmwareCRCs_Click() {
    auto* crcs = new frmCRCs;
    crcs->Form_Load();
    crcs->txtDeviceDetails->setText(cmbDeviceDetails->currentText());
    crcs->showModal(window(), [crcs, handle = currentHandle_] { crcs->setHDevice(handle); });
}

void frmShell::mnuPollingRate_Click() {
    const std::int32_t interval =
        AskNumber("Enter the new polling period (in ms):", "Polling Rate Input", tmrPollForShellData->interval(), 0);
    if (interval <= 0)
        return;
    tmrPollForShellData->setInterval(interval);
    windowSettings::Save(MODULE, settingKeys::SHELL_POLLING_INTERVAL, std::to_string(interval));
}

void frmShell::mnuScrollBack_Click() {
    const std::int32_t lines = AskNumber("How many lines shall the terminal keep?  0 keeps all of them.", "Lines Kept",
                                         txtShell->ScrollBack(), -1);
    if (lines < 0)
        return;
    txtShell->SetScrollBack(lines);
    windowSettings::Save(MODULE, settingKeys::SCROLL_BACK_LINES, std::to_string(lines));
}

void frmShell::mnuFind_Click() {
    const std::string answer =
        platform::CurrentDialogs().InputBox("Text to look for, from the end upwards:", "Find", wanted_.toStdString());
    if (answer.empty())
        return;
    wanted_ = QString::fromStdString(answer);
    if (!txtShell->Find(wanted_))
        platform::CurrentDialogs().MessageBox(fmt::format("'{}' was not found in this terminal.", answer), "Find");
}

void frmShell::mnuLogToFile_Click() {
    if (!mnuLogToFile->isChecked()) {
        log_.reset();
        return;
    }
    OpenLog();
}

void frmShell::OpenLog() {
    log_.reset();
    platform::Attempt(
        [this] {
            const std::int32_t index = GetDeviceIndex(currentHandle_);
            std::string name = "no-device";
            if (index >= 0) {
                const auto guid = basBootloader::globals.TargetList[std::size_t(index)].Info.GUID;
                name = basUtils::ByteArrayToHexString(guid.data(), guid.size());
                std::erase(name, ' ');
            }
            log_ = std::make_unique<ShellLog>(ShellLog::PathFor(name), mnuLogTimestamps->isChecked());
            basDebug::Display(MODULE, LEVEL_USER, "The terminal is logged to '{}'", log_->path());
        },
        [this](const platform::Failure& f) {
            mnuLogToFile->setChecked(false);
            basDebug::Display(MODULE, LEVEL_ERROR, "The terminal can't be logged to a file: {}", f.Description);
        });
}

// The menus of the device window.

#include "Controls.h"
#include "Dialogs.h"
#include "MDIForm1.h"
#include "Menus.h"
#include "Windows.h"
#include "bas1394.h"
#include "basApp.h"
#include "basBootloader.h"
#include "frmMain.h"

#include <functional>

namespace {

// What the parent does on a click, if it is there.
std::function<void()> OfParent(void (MDIForm1::*click)()) {
    return [click] {
        if (windows::globals.parent != nullptr)
            (windows::globals.parent->*click)();
    };
}

} // namespace

std::vector<QMenu*> frmMain::menus() {
    return {mnuFile, mnuView, mnuCommand, mnuBootloader, mnuApplicationExpertMenu, mnuWindow, mnuHelp};
}

void frmMain::BuildMenus() {
    mnuFile = MakeMenu(this, "mnuFile", "&File", {{&mnuExit, "mnuExit", "E&xit", OfParent(&MDIForm1::mnuExit_Click)}});
    BuildViewMenu();
    BuildCommandMenu();
    BuildBootloaderMenu();
    BuildApplicationExpertMenu();
    mnuTest = MakeMenu(this, "mnuTest", "&Test",
                       {{&mnuExecuteKeyBatch, "mnuExecuteKeyBatch", "&Execute keybatch.html",
                         [this] { mnuExecuteKeyBatch_Click(); }}});
    BuildWindowMenu();
    BuildHelpMenu();
    for (QAction* action : {mnuReset, mnuResetToBootloader, mnuUpdateApplicationFirmware, mnuUpdateBootloaderFirmware,
                            mnuUpdateDebuggerFirmware})
        action->setEnabled(false);
    for (QAction* action : {mnuCascade, mnuExecuteKeyBatch, mnuTest->menuAction()})
        action->setVisible(false);
    const std::pair<QPushButton*, QAction*> buttons[] = {{cmdUpdateApplicationImage, mnuUpdateApplicationFirmware},
                                                         {cmdUpdateBootloader, mnuUpdateBootloaderFirmware},
                                                         {cmdUpdateDebugMonitor, mnuUpdateDebuggerFirmware}};
    for (const auto& [button, action] : buttons)
        connect(button, &QPushButton::clicked, action, &QAction::trigger);
}

void frmMain::BuildViewMenu() {
    mnuView =
        MakeMenu(this, "mnuView", "&View",
                 {{&mnuLaunchShell, "mnuLaunchShell", "&Shell Window", [this] { mnuLaunchShell_Click(); }},
                  {&mnuLaunchShellApp, "mnuLaunchShellApp", "&Launch Shell App",
                   [] { platform::CurrentDialogs().Inform("Not implemented yet.", basApp::TITLE); }},
                  {&mnuStatusWindow, "mnuStatusWindow", "S&tatus Window", OfParent(&MDIForm1::mnuStatusWindow_Click)},
                  {&mnuViewConfigROM, "mnuViewConfigROM", "&Config ROM", [this] { mnuViewConfigROM_Click(); }},
                  {&mnuDebugMessageLevel, "mnuDebugMessageLevel", "Debug &Message Level",
                   OfParent(&MDIForm1::mnuDebugMessageLevel_Click)}});
}

void frmMain::BuildCommandMenu() {
    using namespace basBootloader;
    const auto resetToApplication = [this] {
        StatusDisplay(LEVEL_TRACE, "Reset to application mode commanded.");
        ResetSelectedDevice(RESET_INTO_APPLICATION);
    };
    mnuCommand = MakeMenu(
        this, "mnuCommand", "&Command",
        {{&mnuReset, "mnuReset", "&Reset Selected Device Hardware", resetToApplication},
         {&mnuResetToBootloader, "mnuResetToBootloader", "Run Selected Device in &Firmware Download Mode",
          [this] { ResetSelectedDevice(RESET_INTO_BOOTLOADER); }},
         {&mnuResetBus, "mnuResetBus", "Reset &Bus", [] { bas1394::ResetBus(); }},
         {&mnuRescanBus, "mnuRescanBus", "Res&can Bus", [this] { mnuRescanBus_Click(); }},
         {&mnuStartApplication, "mnuStartApplication", "Start &Application", [this] { mnuStartApplication_Click(); }},
         {&mnuStartDebugger, "mnuStartDebugger", "Start &Debugger", [this] { mnuStartDebugger_Click(); }}});
}

void frmMain::BuildBootloaderMenu() {
    using namespace basBootloader;
    mnuBootloader =
        MakeMenu(this, "mnuBootloader", "&Bootloader Expert Menu",
                 {{&mnuSetBootloaderGUID, "mnuSetBootloaderGUID", "&Set Bootloader GUID",
                   [this] { mnuSetBootloaderGUID_Click(); }},
                  {&mnuSetMACaddress, "mnuSetMACaddress", "Set &MAC address", [this] { mnuSetMACaddress_Click(); }},
                  {&mnuInitializePersistentParameters, "mnuInitializePersistentParameters",
                   "&Initialize Persistent Parameters", [this] { mnuInitializePersistentParameters_Click(); }},
                  {&mnuFactoryDefaults, "mnuFactoryDefaults", "&Factory Default Settings (experimental)",
                   [this] { mnuFactoryDefaults_Click(); }},
                  Separator("separator0"),
                  {&mnuUpdateApplicationFirmware, "mnuUpdateApplicationFirmware", "&Update Application Firmware",
                   [this] { UpdateImage(IMAGE_APPLICATION); }},
                  Separator("separator1"),
                  {&mnuUpdateBootloaderFirmware, "mnuUpdateBootloaderFirmware", "U&pdate Bootloader Firmware",
                   [this] { UpdateImage(IMAGE_BOOTLOADER); }},
                  Separator("separator2"),
                  {&mnuUpdateDebuggerFirmware, "mnuUpdateDebuggerFirmware", "Up&date Debugger Firmware",
                   [this] { UpdateImage(IMAGE_DEBUGGER); }}});
}

void frmMain::BuildApplicationExpertMenu() {
    mnuDllDebugging = MakeMenu(this, "mnuDllDebugging", "DLL De&bugging",
                               {Checkable({&mnuShowDllMessages, "mnuShowDllMessages", "&Show DLL Debug Messages"}),
                                {&mnu1394DLLdebugLevel, "mnu1394DLLdebugLevel", "Set DLL Debug &Level",
                                 OfParent(&MDIForm1::mnuDllMessageLevel_Click)}});
    mnuShowDllMessages->setChecked(true); // what is wrong with a bus description is reported there
    mnuApplicationExpertMenu =
        MakeMenu(this, "mnuApplicationExpertMenu", "&Application Expert Menu",
                 {{&mnuDebugLoggingLevel, "mnuDebugLoggingLevel", "Debug &Logging Level",
                   OfParent(&MDIForm1::mnuDebugLoggingLevel_Click)},
                  Checkable({&mnuRemove1394VirtualDriverOnShutdown, "mnuRemove1394VirtualDriverOnShutdown",
                             "&Remove 1394 Virtual Driver on Shutdown"}),
                  {&mnuDefault1394TransactionTimeout, "mnuDefault1394TransactionTimeout",
                   "&Default 1394 Transaction Timeout", OfParent(&MDIForm1::mnuDefault1394TransactionTimeout_Click)},
                  Checkable({&mnuUseTwlThesyconDriver, "mnuUseTwlThesyconDriver", "&Use Twl-Thesycon Driver",
                             [this] { basApp::globals.UseTwlThesyconDriver = mnuUseTwlThesyconDriver->isChecked(); }}),
                  Submenu(mnuDllDebugging),
                  {&mnuSwitchTo1394Shell, "mnuSwitchTo1394Shell", "Switch to &1394 Shell",
                   [this] { mnuSwitchTo1394Shell_Click(); }}});
}

void frmMain::BuildWindowMenu() {
    const auto autoScale = [this] {
        if (MDIForm1* parent = windows::globals.parent) {
            parent->mnuAutoScaleChildren_Click();
            mnuAutoScaleChildren->setChecked(parent->mnuAutoScaleChildren->isChecked());
        }
    };
    mnuWindow = MakeMenu(this, "mnuWindow", "&Window",
                         {Separator("space3"),
                          Checkable({&mnuAutoScaleChildren, "mnuAutoScaleChildren", "&Auto-Scale Children", autoScale}),
                          {&mnuTile, "mnuTile", "&Tile", OfParent(&MDIForm1::mnuTile_Click)},
                          {&mnuCascade, "mnuCascade", "&Cascade"}});
    connect(mnuWindow, &QMenu::aboutToShow, this, [this] { windows::ListChildWindows(mnuWindow); });
}

void frmMain::BuildHelpMenu() {
    mnuHelp = MakeMenu(
        this, "mnuHelp", "&Help",
        {{&mnuUserGuide, "mnuUserGuide", "&Online User Guide", OfParent(&MDIForm1::mnuUserGuide_Click)},
         {&mnuSendErrorReport, "mnuSendErrorReport", "&Send Error Report", [this] { mnuSendErrorReport_Click(); }},
         {&mnuReleaseNotes, "mnuReleaseNotes", "&Release Notes", OfParent(&MDIForm1::mnuReleaseNotes_Click)},
         {&mnuAbout, "mnuAbout", "&About", OfParent(&MDIForm1::mnuAbout_Click)}});
}

// After the grid's own items: what the menus offer for its row. Unlike in the menu bar, the two starts are disabled
// here where they would have no effect.
void frmMain::BuildContextMenu() {
    auto* mnuOfRow = Named(new QMenu(this), "mnuOfRow");
    const auto startOfRow = [mnuOfRow](QAction* start) {
        auto* action = new QAction(start->text(), mnuOfRow);
        connect(action, &QAction::triggered, start, &QAction::trigger);
        return action;
    };
    QAction *startApplication = startOfRow(mnuStartApplication), *startDebugger = startOfRow(mnuStartDebugger);
    mnuOfRow->addActions(mfgDevices->actions());
    mnuOfRow->addSeparator();
    mnuOfRow->addActions({mnuReset, mnuResetToBootloader, startApplication, startDebugger});
    mnuOfRow->addSeparator();
    mnuOfRow->addActions({mnuLaunchShell, mnuViewConfigROM, mnuUpdateApplicationFirmware});
    mfgDevices->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(mfgDevices, &QWidget::customContextMenuRequested, mnuOfRow,
            [this, mnuOfRow](const QPoint& at) { mnuOfRow->popup(mfgDevices->viewport()->mapToGlobal(at)); });
    // Why items are disabled. Not set with the panel, which a redraw of the list fills for each device.
    const auto giveReasons = [=, this] {
        for (QAction* action : {mnuLaunchShell, mnuReset, mnuResetToBootloader})
            action->setToolTip(Q(panel_.whyNoTarget));
        for (QAction* start : {startApplication, startDebugger}) {
            start->setToolTip(Q(panel_.whyNoBootloader));
            start->setEnabled(panel_.bootloaderRunning);
        }
    };
    for (QMenu* withReasons : {mnuView, mnuCommand, mnuOfRow}) {
        withReasons->setToolTipsVisible(true);
        connect(withReasons, &QMenu::aboutToShow, this, giveReasons);
    }
}

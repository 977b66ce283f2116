// The menus of the device window, as a table.

#include "Controls.h"
#include "Dialogs.h"
#include "MDIForm1.h"
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
    using namespace basBootloader;
    const auto menu = [this](QMenu*& made, const char* name, const char* caption) {
        made = new QMenu(QString::fromLatin1(caption), this);
        made->setObjectName(name);
    };
    menu(mnuFile, "mnuFile", "&File");
    menu(mnuView, "mnuView", "&View");
    menu(mnuCommand, "mnuCommand", "&Command");
    menu(mnuBootloader, "mnuBootloader", "&Bootloader Expert Menu");
    menu(mnuApplicationExpertMenu, "mnuApplicationExpertMenu", "&Application Expert Menu");
    menu(mnuDllDebugging, "mnuDllDebugging", "DLL De&bugging");
    menu(mnuTest, "mnuTest", "&Test");
    menu(mnuWindow, "mnuWindow", "&Window");
    menu(mnuHelp, "mnuHelp", "&Help");
    const auto separator = [](QMenu* in, const char* name) { in->addSeparator()->setObjectName(name); };

    struct Item {
        QMenu* in;
        QAction*& action;
        const char* name;
        const char* caption;
        std::function<void()> click;
    };
    const auto add = [](const Item& item) {
        item.action = item.in->addAction(QString::fromLatin1(item.caption));
        item.action->setObjectName(item.name);
        OnChoice(item.action, "frmMain", item.click);
    };
    const auto addAll = [&add](std::initializer_list<Item> items) {
        for (const Item& item : items)
            add(item);
    };

    addAll({
        {mnuFile, mnuExit, "mnuExit", "E&xit", OfParent(&MDIForm1::mnuExit_Click)},
        {mnuView, mnuLaunchShell, "mnuLaunchShell", "&Shell Window", [this] { mnuLaunchShell_Click(); }},
        {mnuView, mnuLaunchShellApp, "mnuLaunchShellApp", "&Launch Shell App",
         [] { platform::CurrentDialogs().Inform("Not implemented yet.", basApp::TITLE); }},
        {mnuView, mnuStatusWindow, "mnuStatusWindow", "S&tatus Window", OfParent(&MDIForm1::mnuStatusWindow_Click)},
        {mnuView, mnuViewConfigROM, "mnuViewConfigROM", "&Config ROM", [this] { mnuViewConfigROM_Click(); }},
        {mnuView, mnuDebugMessageLevel, "mnuDebugMessageLevel", "Debug &Message Level",
         OfParent(&MDIForm1::mnuDebugMessageLevel_Click)},
        {mnuCommand, mnuReset, "mnuReset", "&Reset Selected Device Hardware",
         [this] {
             StatusDisplay(LEVEL_TRACE, "Reset to application mode commanded.");
             ResetSelectedDevice(RESET_INTO_APPLICATION);
         }},
        {mnuCommand, mnuResetToBootloader, "mnuResetToBootloader", "Run Selected Device in &Firmware Download Mode",
         [this] { ResetSelectedDevice(RESET_INTO_BOOTLOADER); }},
        {mnuCommand, mnuResetBus, "mnuResetBus", "Reset &Bus", [] { bas1394::ResetBus(); }},
        {mnuCommand, mnuRescanBus, "mnuRescanBus", "Res&can Bus", [this] { mnuRescanBus_Click(); }},
        {mnuCommand, mnuStartApplication, "mnuStartApplication", "Start &Application",
         [this] { mnuStartApplication_Click(); }},
        {mnuCommand, mnuStartDebugger, "mnuStartDebugger", "Start &Debugger", [this] { mnuStartDebugger_Click(); }},
        {mnuBootloader, mnuSetBootloaderGUID, "mnuSetBootloaderGUID", "&Set Bootloader GUID",
         [this] { mnuSetBootloaderGUID_Click(); }},
        {mnuBootloader, mnuSetMACaddress, "mnuSetMACaddress", "Set &MAC address", [this] { mnuSetMACaddress_Click(); }},
        {mnuBootloader, mnuInitializePersistentParameters, "mnuInitializePersistentParameters",
         "&Initialize Persistent Parameters", [this] { mnuInitializePersistentParameters_Click(); }},
        {mnuBootloader, mnuFactoryDefaults, "mnuFactoryDefaults", "&Factory Default Settings (experimental)",
         [this] { mnuFactoryDefaults_Click(); }},
    });
    separator(mnuBootloader, "separator0");
    add({mnuBootloader, mnuUpdateApplicationFirmware, "mnuUpdateApplicationFirmware", "&Update Application Firmware",
         [this] { UpdateImage(IMAGE_APPLICATION); }});
    separator(mnuBootloader, "separator1");
    add({mnuBootloader, mnuUpdateBootloaderFirmware, "mnuUpdateBootloaderFirmware", "U&pdate Bootloader Firmware",
         [this] { UpdateImage(IMAGE_BOOTLOADER); }});
    separator(mnuBootloader, "separator2");
    add({mnuBootloader, mnuUpdateDebuggerFirmware, "mnuUpdateDebuggerFirmware", "Up&date Debugger Firmware",
         [this] { UpdateImage(IMAGE_DEBUGGER); }});
    addAll({
        {mnuApplicationExpertMenu, mnuDebugLoggingLevel, "mnuDebugLoggingLevel", "Debug &Logging Level",
         OfParent(&MDIForm1::mnuDebugLoggingLevel_Click)},
        {mnuApplicationExpertMenu, mnuRemove1394VirtualDriverOnShutdown, "mnuRemove1394VirtualDriverOnShutdown",
         "&Remove 1394 Virtual Driver on Shutdown", [] {}},
        {mnuApplicationExpertMenu, mnuDefault1394TransactionTimeout, "mnuDefault1394TransactionTimeout",
         "&Default 1394 Transaction Timeout", OfParent(&MDIForm1::mnuDefault1394TransactionTimeout_Click)},
        {mnuApplicationExpertMenu, mnuUseTwlThesyconDriver, "mnuUseTwlThesyconDriver", "&Use Twl-Thesycon Driver",
         [this] { basApp::globals.UseTwlThesyconDriver = mnuUseTwlThesyconDriver->isChecked(); }},
    });
    mnuApplicationExpertMenu->addMenu(mnuDllDebugging);
    addAll({
        {mnuDllDebugging, mnuShowDllMessages, "mnuShowDllMessages", "&Show DLL Debug Messages", [] {}},
        {mnuDllDebugging, mnu1394DLLdebugLevel, "mnu1394DLLdebugLevel", "Set DLL Debug &Level",
         OfParent(&MDIForm1::mnuDllMessageLevel_Click)},
        {mnuApplicationExpertMenu, mnuSwitchTo1394Shell, "mnuSwitchTo1394Shell", "Switch to &1394 Shell",
         [this] { mnuSwitchTo1394Shell_Click(); }},
        {mnuTest, mnuExecuteKeyBatch, "mnuExecuteKeyBatch", "&Execute keybatch.html",
         [this] { mnuExecuteKeyBatch_Click(); }},
    });
    separator(mnuWindow, "space3");
    addAll({
        {mnuWindow, mnuAutoScaleChildren, "mnuAutoScaleChildren", "&Auto-Scale Children",
         [this] {
             if (MDIForm1* parent = windows::globals.parent) {
                 parent->mnuAutoScaleChildren_Click();
                 mnuAutoScaleChildren->setChecked(parent->mnuAutoScaleChildren->isChecked());
             }
         }},
        {mnuWindow, mnuTile, "mnuTile", "&Tile", OfParent(&MDIForm1::mnuTile_Click)},
        {mnuWindow, mnuCascade, "mnuCascade", "&Cascade", [] {}},
        {mnuHelp, mnuUserGuide, "mnuUserGuide", "&Online User Guide", OfParent(&MDIForm1::mnuUserGuide_Click)},
        {mnuHelp, mnuSendErrorReport, "mnuSendErrorReport", "&Send Error Report",
         [this] { mnuSendErrorReport_Click(); }},
        {mnuHelp, mnuReleaseNotes, "mnuReleaseNotes", "&Release Notes", OfParent(&MDIForm1::mnuReleaseNotes_Click)},
        {mnuHelp, mnuAbout, "mnuAbout", "&About", OfParent(&MDIForm1::mnuAbout_Click)},
    });

    for (QAction* action :
         {mnuRemove1394VirtualDriverOnShutdown, mnuUseTwlThesyconDriver, mnuShowDllMessages, mnuAutoScaleChildren})
        action->setCheckable(true);
    mnuShowDllMessages->setChecked(true); // a bad bus description is told there
    for (QAction* action : {mnuReset, mnuResetToBootloader, mnuUpdateApplicationFirmware, mnuUpdateBootloaderFirmware,
                            mnuUpdateDebuggerFirmware})
        action->setEnabled(false);
    mnuCascade->setVisible(false);
    mnuExecuteKeyBatch->setVisible(false);
    mnuTest->menuAction()->setVisible(false);

    const std::pair<QPushButton*, QAction*> buttons[] = {{cmdUpdateApplicationImage, mnuUpdateApplicationFirmware},
                                                         {cmdUpdateBootloader, mnuUpdateBootloaderFirmware},
                                                         {cmdUpdateDebugMonitor, mnuUpdateDebuggerFirmware}};
    for (const auto& [button, action] : buttons)
        connect(button, &QPushButton::clicked, action, &QAction::trigger);
    // The window menu also lists the open child windows.
    connect(mnuWindow, &QMenu::aboutToShow, this, [this] { windows::ListChildWindows(mnuWindow); });
}

// After the grid's own items: what the menus offer for its row. There the two starts are off where nothing could come
// of them; in the menu bar they never are.
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
    // Reasons for what is off. Not with the panel, which a redraw of the list fills for each device.
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

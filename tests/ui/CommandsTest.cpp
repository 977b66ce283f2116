// What the menus of the device window do: on each kind of row, to the wire, and on bad input.
#include "WindowTest.h"

#include "Twl1394api.h"
#include "bas1394.h"
#include "frmConfigROM.h"

#include <QMdiSubWindow>

#include <deque>
#include <functional>
#include <set>

using namespace testing_support;

namespace {

using Commands = WindowTest;

const std::string APPLICATION = Target("000F1B0000000001", "application");
const std::string BOOTLOADER = Target("000F1B0000000002", "bootloader");

// Requests, as HeadlessProgram::Changes names them.
constexpr const char *RESET = "reset", *SWITCH_TO_SHELL = "shell", *PROGRAM_GUID = "guid", *PROGRAM_MAC = "mac",
                     *INITIALIZE_PARAMETERS = "parameters", *FACTORY_DEFAULTS = "defaults", *START_IMAGE = "run";

enum Row { NO_ROW, HOST, APP, BOOT, NEVER };

struct MenuItem {
    const char* name;
    Row enabledFrom = NO_ROW, worksFrom = NO_ROW; // the first row on which it can be chosen, and doesn't fault the node
    const char* told = "";                        // where it works
    const char* change = "";
};

// In any order.
constexpr MenuItem MENU_ITEMS[] = {
    {"mnuLaunchShell", APP, APP},
    {"mnuLaunchShellApp", NO_ROW, NO_ROW, "Not implemented yet."},
    {"mnuDebugMessageLevel", NO_ROW, NO_ROW, "Message Level: "},
    {"mnuStartApplication", NO_ROW, BOOT, "mnuStartApplication failure: StartApplication call failed, code ",
     START_IMAGE},
    {"mnuSetBootloaderGUID", BOOT, BOOT, "Input New GUID: "},
    {"mnuSetMACaddress", BOOT, BOOT, "Input New MAC: "},
    {"mnuInitializePersistentParameters", BOOT, BOOT, "InitializePersistentParams succeeded", INITIALIZE_PARAMETERS},
    {"mnuFactoryDefaults", BOOT, BOOT, "Initialized bootloader config to factory defaults.", FACTORY_DEFAULTS},
    {"mnuUpdateApplicationFirmware", BOOT, BOOT, "Updating firmare image (type = 0)"},
    {"mnuUpdateBootloaderFirmware", BOOT, BOOT, "Updating firmare image (type = 3)"},
    {"mnuUpdateDebuggerFirmware", BOOT, BOOT, "Updating firmare image (type = 2)"},
    {"mnuDebugLoggingLevel", NO_ROW, NO_ROW, "Debug Logging Level: "},
    {"mnuDefault1394TransactionTimeout", NO_ROW, NO_ROW, "Transaction Timeout Time: "},
    {"mnu1394DLLdebugLevel", NO_ROW, NO_ROW, "DLL Message Level: "},
    {"mnuSwitchTo1394Shell", NO_ROW, APP, "", SWITCH_TO_SHELL},
    {"mnuExecuteKeyBatch", NEVER, NEVER},
    {"mnuCascade", NEVER, NEVER},
    {"mnuSendErrorReport", NO_ROW, NO_ROW, "Failed to send error report, code 0xFFFFFFFF"},
    {"mnuRescanBus", NO_ROW, NO_ROW, "Rescan Bus Commanded"},
    {"mnuReset", APP, APP, "Reset to application mode commanded.", RESET},
    {"mnuResetToBootloader", APP, APP, "", RESET},
    {"mnuStartDebugger", NO_ROW, BOOT, "mnuStartDebugger failure: StartApplication call failed, code ", START_IMAGE},
    {"mnuExit", NO_ROW, NO_ROW, "Unloading main child form..."},
};

TEST_F(Commands, DoOnEachKindOfRowWhatTheMenuSaysAndNothingElse) {
    std::vector<MenuItem> items(std::begin(MENU_ITEMS), std::end(MENU_ITEMS));
    for (const char* harmless : {"mnuStatusWindow", "mnuViewConfigROM", "mnuRemove1394VirtualDriverOnShutdown",
                                 "mnuUseTwlThesyconDriver", "mnuShowDllMessages", "mnuAutoScaleChildren", "mnuTile",
                                 "mnuUserGuide", "mnuReleaseNotes", "mnuAbout", "mnuResetBus"})
        items.push_back({harmless});
    const char* invalidNode[] = {
        "Invalid Node:   GUID= Mfg= Model=",
        "Invalid Node: 2  GUID= <unknown> Mfg=No Local Config ROM Model=No Local Config ROM",
        "Invalid Node: 0  GUID=000F1B00 00000001 Mfg=Tarnwell Model=TX-9",
    };
    for (const Row row : {NO_ROW, HOST, APP, BOOT}) {
        const std::string bus = row == NO_ROW ? Bus({}) : Bus({APPLICATION, BOOTLOADER});
        Start(bus);
        std::set<std::string> untried;
        for (const QAction* action : form().findChildren<QAction*>())
            if (action->objectName().startsWith("mnu"))
                untried.insert(action->objectName().toStdString());
        if (row != NO_ROW) {
            SelectRow(RowOf(row == HOST ? 2 : row == APP ? 0 : 1));
            auto* ofRow = form().findChild<QMenu*>("mnuOfRow");
            Q_EMIT ofRow->aboutToShow();
            for (const QAction* action : ofRow->actions())
                EXPECT_TRUE(!action->text().startsWith("Start ") || action->isEnabled() == (row == BOOT)) << row;
        }
        for (const MenuItem& item : items) {
            SCOPED_TRACE(testing::Message() << item.name << " on row " << row);
            untried.erase(item.name);
            if (row == NO_ROW)
                form().mfgDevices->setCurrentItem(nullptr);
            else
                SelectRow(RowOf(row == HOST ? 2 : row == APP ? 0 : 1));
            ForgetTold();
            const std::size_t before = program->RequestsSent().size();
            EXPECT_EQ(Choose(item.name), row >= item.enabledFrom);
            const char* told = row >= item.worksFrom ? item.told : row >= item.enabledFrom ? invalidNode[row] : "";
            EXPECT_TRUE(*told == '\0' || WasTold(told)) << testing::PrintToString(Told());
            const std::string changes = program->Changes(before);
            EXPECT_EQ(changes, row >= item.worksFrom ? item.change : "");
            EXPECT_EQ(windows::globals.main == nullptr, item.name == std::string("mnuExit"));
            windows::UnloadAll(windows::globals.firmwareWindows); // while one is open the device window is disabled
            Pass(2500);
            // The program may have ended, or the device may be in another mode now.
            if (windows::globals.main == nullptr || changes == RESET || changes == START_IMAGE)
                Start(bus);
        }
        EXPECT_EQ(untried, std::set<std::string>());
    }
}

TEST_F(Commands, ProgramAnIdentityOnlyFromAWholeAndConfirmedAnswer) {
    const std::string guid = "mnuSetBootloaderGUID", mac = "mnuSetMACaddress";
    const std::string newGuid = "(001b0f0077000000)",
                      newMac = "(1100000055443322)"; // operands in the order of the wire
    const struct {
        std::string item;
        std::deque<std::string> answers;
        std::string told, changes;
        bool rescans;
    } rows[] = {
        {guid, {"00 0F 1B 00 00 00 00 77", "yes"}, "Successfully set new GUID", PROGRAM_GUID + newGuid, true},
        {guid, {"0x000f1b00 &H00000077", "yes"}, "to 00 0F 1B 00 00 00 00 77?", PROGRAM_GUID + newGuid, true},
        {guid, {"000F1B0000000077", "no"}, "Are you sure you want to set the GUID of node 1 to 00 0F", "", true},
        {guid, {""}, "Please enter a new 8-byte value for the GUID in the hex format", "", false},
        {guid, {"000F1B000000007", "yes"}, "divisible by 2: '000F1B000000007' in SetBootloaderGUID.", "", false},
        {guid, {"000F1B00000077", "yes"}, "in SetBootloaderGUID.  Exiting abnormally...", "", false},
        {guid, {"000F1B000000zz77", "yes"}, "in SetBootloaderGUID.  Exiting abnormally...", "", false},
        {guid, {" ", "yes"}, "in SetBootloaderGUID.  Exiting abnormally...", "", false},
        {mac, {"00 11 22 33 44 55", "yes"}, "Successfully set MAC address to", PROGRAM_MAC + newMac, false},
        {mac, {"001122334455", "no"}, "MAC address of node 1 to 00 11 22 33 44 55?", "", false},
        {mac, {""}, "The current MAC is not available.", "", false},
        {mac, {"0011223344", "yes"}, "in SetMACaddress.  Exiting abnormally...", "", false},
        {mac, {"00112233445566", "yes"}, "in SetMACaddress.  Exiting abnormally...", "", false},
        {mac, {"00112233445g", "yes"}, "in SetMACaddress.  Exiting abnormally...", "", false},
    };
    Start(Bus({APPLICATION, BOOTLOADER}));
    for (const auto& row : rows) {
        SCOPED_TRACE(row.item + " " + row.answers.front());
        SelectRow(RowOf(1));
        ForgetTold();
        program->dialogs.answers = row.answers;
        const std::size_t before = program->RequestsSent().size();
        ASSERT_TRUE(Choose(row.item.c_str()));
        EXPECT_TRUE(WasTold(row.told)) << testing::PrintToString(Told());
        EXPECT_EQ(program->Changes(before), row.changes);
        EXPECT_EQ(WasTold("Rescanning bus to refresh internal data structures after operation..."), row.rescans);
        Pass(3000);
        EXPECT_EQ(WasTold("BusResetHandler called."), row.rescans);
    }
    EXPECT_EQ(form().lblBootloaderGuidInfo->text(), "ID (InfoReg):    000F1B00 00000077");
    program->dialogs.shown.clear();
    Choose("mnuSetBootloaderGUID");
    EXPECT_EQ(program->dialogs.shown.back().first, "00 0F 1B 00 00 00 00 77"); // the debug GUID follows
    ForgetTold();
    SimulatorFailNext(0, 100, TWL1394_NODE_DID_NOT_RESPOND);
    Choose("mnuSetBootloaderGUID");
    EXPECT_TRUE(WasTold("SetBootloaderGUID: failed to get current GUID!  Exiting without changing GUID..."));
    EXPECT_TRUE(program->dialogs.shown.empty());
}

TEST_F(Commands, NeverProgramAnotherDeviceThanTheOneThatWasAskedFor) {
    for (const std::uint32_t unplugged : {0u, 1u}) { // the one in front; the selected one
        Start(Bus({Target("000F1B0000000001", "bootloader"), BOOTLOADER, Target("000F1B0000000003", "bootloader")}));
        SelectRow(RowOf(1));
        struct : platform::testing::ScriptedDialogs { // takes time over an input box
            std::function<void()> meanwhile;
            std::string InputBox(const std::string& text, const std::string& title, const std::string& first) override {
                meanwhile();
                return ScriptedDialogs::InputBox(text, title, first);
            }
        } user;
        user.meanwhile = [&] {
            SimulatorUnplug(unplugged);
            Pass(3000);
        };
        user.answers = {"000F1B0000000077", "yes"};
        ASSERT_TRUE(Choose("mnuSetBootloaderGUID"));
        Pass(3000);
        std::set<std::string> ids;
        for (int row = 0; row + 1 < form().mfgDevices->rowCount(); ++row) {
            SelectRow(row);
            ids.insert(form().lblBootloaderGuidInfo->text().right(8).toStdString());
        }
        EXPECT_EQ(ids, unplugged == 0 ? (std::set<std::string>{"00000077", "00000003"})
                                      : (std::set<std::string>{"00000001", "00000003"}));
        EXPECT_EQ(WasTold("ERROR: failed to set new GUID, code "), unplugged == 1);
    }
}

TEST_F(Commands, BringADeviceIntoItsBootloaderAndBack) {
    Start(Bus({APPLICATION}));
    for (const char* item : {"mnuResetToBootloader", "mnuReset", "mnuResetToBootloader", "mnuStartApplication"}) {
        const bool bootloader = item == std::string("mnuResetToBootloader");
        ASSERT_TRUE(Choose(item));
        Pass(5000);
        EXPECT_EQ(Cells(0)[deviceRows::STATE], bootloader ? "Bootloader Running" : "App Running");
        EXPECT_EQ(form().cmdUpdateApplicationImage->isEnabled(), bootloader);
        EXPECT_TRUE(form().mnuReset->isEnabled());
    }
    for (const char* item : {"mnuRescanBus", "mnuResetBus"}) {
        form().mfgDevices->setRowCount(0);
        ASSERT_TRUE(Choose(item));
        Pass(3000);
        EXPECT_EQ(form().mfgDevices->rowCount(), 2);
    }
}

TEST_F(Commands, ShowTheRomOfTheSelectedNodeThoughNodesInFrontAreHidden) {
    Start(Bus({R"({"kind": "device", "guid": "00A0B00000000101"})", R"({"kind": "off"})", APPLICATION, BOOTLOADER}));
    std::vector<frmConfigROM*> roms;
    const auto expectRomOf = [&](const std::string& node, const std::string& target) {
        const QTreeWidgetItem* chipId = roms.back()->trvConfigRomAppleFormat->topLevelItem(0)->child(4);
        EXPECT_EQ(roms.back()->windowTitle().toStdString(),
                  "Config ROM for Node " + node + "  ID=000F1B00 0000000" + target + "  mfg=Tarnwell  mdl=TX-9");
        EXPECT_EQ(chipId->text(0).toStdString(), "0xF0000410   0x0000000" + target + "  ChipIdLow = 0x" + target);
    };
    for (const int node : {2, 3}) { // records 0 and 1 of the node table
        SelectRow(RowOf(node));
        ASSERT_TRUE(Choose("mnuViewConfigROM"));
        roms.push_back(Newest<frmConfigROM>());
        expectRomOf(std::to_string(node), std::to_string(node - 1));
    }
    roms.pop_back();
    SimulatorUnplug(2);
    Pass(3000);
    expectRomOf("2", "1"); // a snapshot
}

TEST_F(Commands, TellThatThereIsNoLibraryInsteadOfEndingTheProgram) {
    Start(Bus({Target("000F1B0000000001", "application")}));
    bas1394::UnloadTwl1394Dll();
    ASSERT_TRUE(Choose("mnuResetBus"));
    EXPECT_TRUE(WasTold("Error #53: File not found: Twl1394api.dll in mnuResetBus_Click"));
}

TEST_F(Commands, CarryOutTheKeyBatchOfTheMenuAndEndTheProgram) {
    Start(Bus({Target("000F1B0000000001", "bootloader", R"(, "keys": {"MODEL": "TX-9"})")}));
    program->Write("batch-operations/keybatch.html", std::string("<p>read --single MODEL model.txt</p>\r\n"));
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", ""); // no viewer opens during tests
    form().mnuExecuteKeyBatch->trigger();
    Pass(20'000);
    qputenv("PATH", path);
    EXPECT_TRUE(WasTold("Error #53: File not found: xdg-open"));
    EXPECT_NE(program->Read("batch-operations/keybatch.out.html").find("# 1 operations performed."), std::string::npos);
    EXPECT_NE(program->Read("batch-operations/model.txt").find("\r\nTX-9\r\n"), std::string::npos);
    EXPECT_EQ(windows::globals.main, nullptr);
}

TEST_F(Commands, EndAKeyBatchInOrderWhenTheProgramIsClosedDuringIt) {
    Start(Bus({Target("000F1B0000000001", "bootloader", R"(, "keys": {"MODEL": "TX-9"})")}));
    program->Write("batch-operations/keybatch.html",
                   std::string("read --single MODEL a\nread --single MODEL b\nread --single MODEL c\n"));
    form().mnuExecuteKeyBatch->trigger();
    program->eachMessage = [](std::string_view message) {
        if (message.find("received") != message.npos) // the user closes it in the next turn
            platform::Post([] { windows::UnloadParentWindow(); });
    };
    Pass(20'000);
    const std::string report = program->Read("batch-operations/keybatch.out.html");
    EXPECT_NE(report.find(">a</A> </td><td> SUCCESS"), std::string::npos) << report;
    EXPECT_NE(report.find("FAILED, not done: the program was closed\r\n</td></tr>\r\n</table>"), std::string::npos);
    EXPECT_TRUE(WasTold("2 of 3 operations were not done."));
    EXPECT_EQ(windows::globals.main, nullptr);
}

} // namespace

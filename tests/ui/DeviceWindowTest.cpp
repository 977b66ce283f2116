// What the device window shows of a bus, and what stays selected.
#include "WindowTest.h"

#include "basBootloader.h"

#include <QtTest/QTest>

#include <set>

using namespace testing_support;

namespace {

using DeviceWindow = WindowTest;
using Texts = std::vector<std::string>;

constexpr const char* GUID_A = "000F1B0000000001";
constexpr const char* GUID_B = "000F1B0000000002";
constexpr const char* GUID_C = "000F1B0000000003";

TEST_F(DeviceWindow, ShowsEachKindOfNodeInTheWordsOfItsState) {
    Start(
        Bus({R"({"kind": "device", "guid": "00A0B00000000101"})", Target(GUID_A, "application"), R"({"kind": "off"})",
             Target(GUID_B, "bootloader", R"(, "bootloader": {"version": "0x01020304"})"), R"({"kind": "debugger"})"}));
    const Texts rows[] = {
        {"vdev", "1", "000F1B00 00000001", "App Running", "Tarnwell", "TX-9", "0.0.0.1 2002-01-01 00:00:00 utc"},
        {"vdev", "3", "000F1B00 00000002", "Bootloader Running", "Tarnwell", "TX-9", "1.2.3.4 2002-01-01 00:00:00 utc"},
        {"vdev", "5", " <unknown>", "Local PC Node", "No Local Config ROM", "No Local Config ROM", "<unknown>"},
    };
    ASSERT_EQ(form().mfgDevices->rowCount(), 3); // other vendors, the debugger and inactive links are left out
    for (int row = 0; row < 3; ++row)
        EXPECT_EQ(Cells(row), rows[row]);
}

TEST_F(DeviceWindow, AnswersADeviceThatAnnouncesItselfWithAHaltToAll) {
    Start(Bus({Target(GUID_A, "bootloader", R"(, "announce": true)")}));
    std::ignore = basBootloader::ResetDevice(basBootloader::globals.TargetList.front().Handle,
                                             basBootloader::RESET_INTO_BOOTLOADER);
    Pass(8000);
    EXPECT_TRUE(WasTold("Broadcasted bootloader halt command."));
    EXPECT_EQ(Cells(0)[deviceRows::STATE], "Bootloader Running") << "the device gave up waiting";
}

TEST_F(DeviceWindow, SaysThatItScansUntilTheBusHasSettled) {
    Start(Bus({Target(GUID_A, "application")}));
    std::set<std::string> seen;
    program->windowSystem.eachTurn = [&] {
        QCoreApplication::processEvents();
        for (int row = 0; row < form().mfgDevices->rowCount(); ++row)
            seen.insert(Cells(row)[deviceRows::STATE] + "|" + Cells(row)[deviceRows::FIRMWARE]);
    };
    SimulatorBusReset();
    Pass(3000);
    EXPECT_EQ(seen, (std::set<std::string>{"<scanning...>|<scanning...>", "Local PC Node|<unknown>",
                                           "App Running|0.0.0.1 2002-01-01 00:00:00 utc"}));
}

TEST_F(DeviceWindow, DescribesTheSelectedNodeAndTakesFirmwareOnlyForABootloader) {
    Start(Bus({Target("000F1B0000000000", "application", R"(, "application": {"id": 255, "version": "0xFFFFFF"})"),
               Target(GUID_A, "bootloader", R"(, "debugger": {"id": 255, "version": 2, "time": "123456"})")}));
    const auto labels = [this] {
        std::string texts;
        for (const QLabel* label : {form().lblDriver, form().lblNode, form().lblDeviceState, form().lblManufacturer,
                                    form().lblModelName, form().lblGUID, form().lblBootloaderGuidInfo,
                                    form().lblBootloaderGuidGet, form().lblHardwareVersion, form().lblModelID})
            texts += label->text().toStdString() + "|";
        return texts;
    };
    const auto ofTarget = [](const std::string& node, const std::string& bootloaderId) {
        return "Driver: vdev|Node: " + node + "|Device State: 2|Manufacturer: Tarnwell|Model Name: TX-9|" +
               "ID (ConfigROM):  000F1B 000000000" + node + "|ID (InfoReg):    000F1B00 0000000" + node +
               "|ID (Bootloader): " + bootloaderId + "|Hardware Version (from config ROM):  MODULE_HW_VERSION=65536|" +
               "Info Registers Hardware Model ID = 17 / Version: 1.0.0.0|";
    };
    const std::string host =
        "Driver: |Node: 2 (Local 1394 Adapter Node)|Device State: INCOMPATIBLE|Manufacturer: <unknown>|"
        "Model Name: <unknown>|ID: None - No Config ROM on Local Node|ID (InfoReg): <not applicable>|"
        "ID (Bootloader): <not applicable>|Hardware Version: <unknown>|Model ID (ConfigRom root): <unknown>|";
    const std::string date = " Date: 2002-01-01 ", midnight = date + "00:00:00 utc / 01:00:00 (local)";
    const struct {
        int node;
        bool bootloader;
        std::string labels, application, debugger, bootloaderVersion;
    } rows[] = {
        {2, false, host, "", "", ""},
        {1, true, ofTarget("1", "000F1B00 00000001"), " ID=0x0 Ver=0.0.0.1" + midnight,
         " ID=255 Ver=0.0.0.2" + date + "12:34:56 utc / 13:34:56 (local)", " Ver=0.0.0.1" + midnight},
        {0, false, ofTarget("0", "<not applicable>"), " ID=0xFF <private build>" + midnight,
         " ID=0 Ver=0.0.0.1" + midnight, " Ver=0.0.0.0" + midnight},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.node);
        SelectRow(RowOf(row.node));
        EXPECT_EQ(labels(), row.labels);
        EXPECT_EQ(form().txtApplicationImageVersion->text().toStdString(), row.application);
        EXPECT_EQ(form().txtDebugMonitorVersion->text().toStdString(), row.debugger);
        EXPECT_EQ(form().txtBootloaderVersion->text().toStdString(), row.bootloaderVersion);
        for (const QPushButton* button :
             {form().cmdUpdateApplicationImage, form().cmdUpdateBootloader, form().cmdUpdateDebugMonitor})
            EXPECT_EQ(button->isEnabled(), row.bootloader) << button->text().toStdString();
    }
    // Its node has left the bus before the grid was updated.
    bas1394::globals.DeviceTable.assign(1, {});
    form().mfgDevices_RowColChange();
    EXPECT_EQ(form().lblNode->text(), "The selected device has disappeared from the bus.");
    EXPECT_FALSE(form().mnuReset->isEnabled());
}

TEST_F(DeviceWindow, KeepsTheUsersDeviceSelectedWhateverTheBusDoes) {
    Start(Bus({Target(GUID_A, "application"), Target(GUID_B, "bootloader"), Target(GUID_C, "application")}));
    const auto expectSelected = [this](const char* guid, int node) {
        Pass(3000);
        ASSERT_GE(form().mfgDevices->currentRow(), 0);
        EXPECT_EQ(Cells(form().mfgDevices->currentRow())[deviceRows::ID], guid);
        EXPECT_EQ(form().lblNode->text().toStdString(), "Node: " + std::to_string(node));
        EXPECT_EQ(form().mfgDevices->selectionModel()->selectedRows().size(), 1);
    };
    constexpr const char *A = "000F1B00 00000001", *B = "000F1B00 00000002", *C = "000F1B00 00000003";
    expectSelected(C, 2); // none picked yet: the last running target
    SelectRow(0);
    QTest::keyClick(form().mfgDevices, Qt::Key_Down);
    SimulatorBusReset();
    expectSelected(B, 1);
    SelectRow(RowOf(3)); // this computer isn't remembered
    SimulatorBusReset();
    expectSelected(B, 1);
    for (int round = 0; round < 20; ++round) {
        SCOPED_TRACE(round);
        SimulatorUnplug(0); // the nodes after it move down
        expectSelected(B, 0);
        SimulatorPlug(0);
        expectSelected(B, 1);
        SimulatorUnplug(1);
        expectSelected(C, 1);
        EXPECT_FALSE(form().cmdUpdateBootloader->isEnabled()); // C runs its application
        SimulatorPlug(1);
        expectSelected(B, 1);
        EXPECT_TRUE(form().cmdUpdateBootloader->isEnabled());
    }
    EXPECT_EQ(basBootloader::globals.TargetList.size(), 3u);
    SelectRow(RowOf(0));
    for (const std::uint32_t node : {0u, 1u, 2u})
        SimulatorUnplug(node);
    Pass(3000);
    ASSERT_EQ(form().mfgDevices->rowCount(), 1);
    EXPECT_EQ(form().lblNode->text(), "Node: ");
    EXPECT_FALSE(form().mnuReset->isEnabled());
    SimulatorPlug(2);
    SimulatorPlug(0);
    expectSelected(A, 0);
}

} // namespace

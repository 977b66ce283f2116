// What the windows decide without a widget: rows and panels of records that are rare on a real bus.
#include "DeviceRows.h"
#include "basBootloader.h"

#include <gtest/gtest.h>

namespace {

using Texts = std::vector<std::string>;

// How a node differs from the usual one: not this computer, its link active, its ROM read, the bus scanned, and a
// target in its application.
enum Circumstances : unsigned {
    NOTHING = 0,
    TARGET = 1,
    TARGET_MISSING = 2,
    TARGET_IN_STATE_0 = 4,
    TARGET_IN_STATE_7 = 8,
    RUNS_BOOTLOADER = 16,
    TARGET_OF_OTHER_DRIVER = 32,
    RUNS_DEBUGGER = 64,
    SCANNING = 128,
    LINK_OFF = 256,
    THIS_COMPUTER = 512,
    ROM_UNREADABLE = 1024,
    ROM_MINIMAL = 2048,
    GONE = 4096
};

class DeviceRows : public ::testing::Test {
protected:
    DeviceRows() {
        bas1394::globals = {};
        basBootloader::globals = {};
        basBootloader::globals.DiscoveryComplete = true;
        device.Driver = "vdev";
        device.NodeNum = 5;
        device.SelfId.LinkActive = 1;
        device.ConfigRom.RawData.assign(20, 0);
        device.ConfigRom.NodeVendorID = 0xF1B;
        freshDevice = device;
        target.Device = device;
        target.State = 2;
        target.Info.ApplicationVersion = 0x01020304;
        target.Info.ApplicationDate = target.Info.BootloaderDate = {'2', '0', '0', '2', '0', '8', '3', '1'};
        target.Info.ApplicationTime = target.Info.BootloaderTime = {'1', '2', '3', '4', '5', '6', ' ', ' '};
        target.Info.GUID = {0, 0x0F, 0x1B, 0, 0, 0, 0, 9};
    }
    void Give(unsigned circumstances) {
        const auto given = [circumstances](unsigned which) { return (circumstances & which) != 0; };
        device = freshDevice;
        device.NodeNum = given(GONE) ? NO_NODE : 5;
        device.SelfId.LinkActive = !given(LINK_OFF);
        if (given(ROM_UNREADABLE | ROM_MINIMAL))
            device.ConfigRom = {};
        if (given(ROM_MINIMAL))
            device.ConfigRom.RawData = {1, 0, 0x0A, 0x27, 0};
        target.Info.BootloaderVersion = given(RUNS_BOOTLOADER) ? 0x02000001 : 0;
        target.State = given(TARGET_IN_STATE_0) ? 0 : given(TARGET_MISSING) ? 1 : given(TARGET_IN_STATE_7) ? 7 : 2;
        target.Device.Driver = given(TARGET_OF_OTHER_DRIVER) ? "vhpd" : "vdev";
        bas1394::globals.LocalHostNode = given(THIS_COMPUTER) ? 5 : 6;
        basBootloader::globals.DiscoveryComplete = !given(SCANNING);
        const bool isTarget = given(TARGET | TARGET_MISSING | TARGET_IN_STATE_0 | TARGET_IN_STATE_7);
        basBootloader::globals.TargetList.assign(1, isTarget ? target : BootloaderTarget{});
        basBootloader::globals.DebuggerList.assign(1, given(RUNS_DEBUGGER) ? device : Device{});
    }
    Device device, freshDevice;
    BootloaderTarget target;
};

TEST_F(DeviceRows, ChooseTheWordsByTheFirstConditionThatFits) {
    const std::string id = "000F1B00 00000000", off = "<link not active>", unknown = "<unknown>",
                      scanning = "<scanning...>", model = "No root directory", utc = " 2002-08-31 12:34:56 utc";
    const struct {
        unsigned given;
        Texts texts;
        std::int32_t badState = -1;
    } rows[] = {
        {NOTHING, {id, "Incompatible", model, unknown}},
        {TARGET, {id, "App Running", model, "1.2.3.4" + utc}},
        {TARGET | RUNS_BOOTLOADER, {id, "Bootloader Running", model, "2.0.0.1" + utc}},
        {TARGET_MISSING, {id, "missing", model, unknown}},
        {TARGET_IN_STATE_7, {id, "error", model, unknown}, 7},
        {TARGET_IN_STATE_0, {id, "error", model, unknown}, 0},
        {TARGET | TARGET_OF_OTHER_DRIVER, {id, "Incompatible", model, unknown}},
        {RUNS_DEBUGGER, {id, "Debugger Running", model, unknown}},
        {TARGET | RUNS_DEBUGGER, {id, "App Running", model, "1.2.3.4" + utc}},
        {TARGET | RUNS_DEBUGGER | SCANNING, {id, scanning, model, scanning}},
        {TARGET | SCANNING | LINK_OFF, {off, off, off, unknown}},
        {SCANNING | LINK_OFF, {off, off, off, unknown}},
        {THIS_COMPUTER | SCANNING | LINK_OFF, {" <unknown>", "Local PC Node", "No Local Config ROM", unknown}},
        {ROM_UNREADABLE, {"<read failed>", "Incompatible", "<UNREADABLE CONFIG ROM MODEL TEXT>", unknown}},
        {ROM_MINIMAL, {"00000000 00000000", "Incompatible", "Minimal ConfigRom (ven 0xA27)", unknown}},
    };
    for (const auto& row : rows) {
        Give(row.given);
        const deviceRows::Row shown = deviceRows::RowOf(device);
        const auto& text = shown.text;
        EXPECT_EQ(
            (Texts{text[deviceRows::ID], text[deviceRows::STATE], text[deviceRows::MODEL], text[deviceRows::FIRMWARE]}),
            row.texts);
        EXPECT_EQ(shown.badState, row.badState);
    }
}

TEST_F(DeviceRows, FillThePanelOfNodesThatNobodyCanCommand) {
    const auto texts = [this] {
        const deviceRows::Panel panel = deviceRows::PanelOf(device, -1);
        EXPECT_FALSE(panel.targetBehindRow || panel.bootloaderRunning);
        return panel.lblNode + "|" + panel.lblGUID + "|" + panel.lblModelName + "|" + panel.lblDeviceState + "|" +
               panel.txtApplicationImageVersion;
    };
    const std::string rest = "|Model Name: No root directory|Device State: INCOMPATIBLE| N/A";
    EXPECT_EQ(texts(), "Node: 5|ID (ConfigROM):  000F1B 0000000000" + rest);
    device.ConfigRom.RawData = {1, 0, 0x0A, 0x27, 0};
    EXPECT_EQ(texts().substr(8, 35), "1394 ID:  None - minimal Config ROM");
    device.SelfId.LinkActive = 0;
    EXPECT_EQ(texts(), "Node: 5|<link not active>|Model Name: |Device State: INCOMPATIBLE| N/A");
    for (const std::int16_t node : {63, 128, -1}) {
        device.NodeNum = node;
        EXPECT_EQ(texts(), "The selected device has disappeared from the bus.|ID (ConfigROM):   |Model Name: |"
                           "Device State: |");
    }
}

TEST_F(DeviceRows, SayWhyCommandsAreDisabledAndWhatToDoAboutIt) {
    const std::pair<unsigned, const char*> rows[] = {
        {TARGET, "Command, Run Selected Device in Firmware Download Mode"},
        {GONE, "has gone"},
        {THIS_COMPUTER, "computer itself"},
        {LINK_OFF, "Rescan Bus"},
        {SCANNING, "still being read"},
        {RUNS_DEBUGGER, "debugger"},
        {NOTHING, "no sign of a Tarnwell bootloader"},
    };
    const auto panelOf = [this](unsigned given) {
        Give(given);
        return deviceRows::PanelOf(device, (given & TARGET) != 0 ? 0 : -1);
    };
    EXPECT_EQ(panelOf(TARGET | RUNS_BOOTLOADER).whyNoBootloader, "");
    for (const auto& [given, part] : rows) { // what needs a bootloader is disabled in more cases than the rest
        EXPECT_NE(panelOf(given).whyNoBootloader.find(part), std::string::npos) << part;
        EXPECT_EQ(panelOf(given).whyNoTarget, given == TARGET ? "" : panelOf(given).whyNoBootloader);
    }
}

TEST_F(DeviceRows, DropTheTimeAndThenTheDateWhereThereIsLittleRoom) {
    const std::string text = "1.2.3.4 2002-08-31 12:34:56 utc";
    const std::pair<std::size_t, const char*> rows[] = {{31, text.c_str()},
                                                        {30, "1.2.3.4 2002-08-31 ..."},
                                                        {22, "1.2.3.4 2002-08-31 ..."},
                                                        {21, "1.2.3.4 ..."},
                                                        {10, "1.2.3.4"},
                                                        {3, "1.2.3.4"}};
    for (const auto& [room, words] : rows)
        EXPECT_EQ(deviceRows::WordsThatFit(text, [&](const std::string& shown) { return shown.size() <= room; }),
                  words);
}

TEST_F(DeviceRows, RememberDeviceIdsAndNothingElse) {
    for (const char* id : {"000F1B00 00000001", "00A0B000 FFFFFFFF", "90000000 00000000"})
        EXPECT_TRUE(deviceRows::IsMemorableId(id)) << id;
    for (const char* id : {"00000000 00000000", "A00F1B00 00000001", "000F1B00 0000001", "000F1B00 000000012",
                           "<link not active>", " <unknown>", "<read failed>", ""})
        EXPECT_FALSE(deviceRows::IsMemorableId(id)) << id;
}

} // namespace

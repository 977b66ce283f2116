// What the windows decide without a widget: rows and panels of records that a bus seldom gives.
#include "DeviceRows.h"
#include "basBootloader.h"

#include <gtest/gtest.h>

namespace {

using Texts = std::vector<std::string>;

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
        target.Device = device;
        target.State = 2;
        target.Info.ApplicationVersion = 0x01020304;
        target.Info.ApplicationDate = target.Info.BootloaderDate = {'2', '0', '0', '2', '0', '8', '3', '1'};
        target.Info.ApplicationTime = target.Info.BootloaderTime = {'1', '2', '3', '4', '5', '6', ' ', ' '};
        target.Info.GUID = {0, 0x0F, 0x1B, 0, 0, 0, 0, 9};
    }
    Device device;
    BootloaderTarget target;
};

TEST_F(DeviceRows, ChooseTheWordsByTheFirstConditionThatFits) {
    const std::string id = "000F1B00 00000000", off = "<link not active>", unknown = "<unknown>",
                      scanning = "<scanning...>", model = "No root directory", utc = " 2002-08-31 12:34:56 utc";
    // What is given, by letters: t a target; 0, 1 and 7 its state, b its bootloader runs, v it is under another
    // driver; d the debugger runs, s the bus is being scanned, o the link is off, l it is this computer, f the ROM
    // couldn't be read, m it is a minimal one.
    const struct {
        std::string given;
        Texts texts;
        std::int32_t badState = -1;
    } rows[] = {
        {"", {id, "Incompatible", model, unknown}},
        {"t", {id, "App Running", model, "1.2.3.4" + utc}},
        {"tb", {id, "Bootloader Running", model, "2.0.0.1" + utc}},
        {"t1", {id, "missing", model, unknown}},
        {"t7", {id, "error", model, unknown}, 7},
        {"t0", {id, "error", model, unknown}, 0},
        {"tv", {id, "Incompatible", model, unknown}},
        {"d", {id, "Debugger Running", model, unknown}},
        {"td", {id, "App Running", model, "1.2.3.4" + utc}},
        {"tds", {id, scanning, model, scanning}},
        {"tso", {off, off, off, unknown}},
        {"so", {off, off, off, unknown}},
        {"lso", {" <unknown>", "Local PC Node", "No Local Config ROM", unknown}},
        {"f", {"<read failed>", "Incompatible", "<UNREADABLE CONFIG ROM MODEL TEXT>", unknown}},
        {"m", {"00000000 00000000", "Incompatible", "Minimal ConfigRom (ven 0xA27)", unknown}},
    };
    const Device freshDevice = device;
    const BootloaderTarget freshTarget = target;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.given);
        const auto given = [&row](char letter) { return row.given.find(letter) != std::string::npos; };
        device = freshDevice;
        target = freshTarget;
        device.SelfId.LinkActive = !given('o');
        if (given('f') || given('m'))
            device.ConfigRom = {};
        if (given('m'))
            device.ConfigRom.RawData = {1, 0, 0x0A, 0x27, 0};
        target.Info.BootloaderVersion = given('b') ? 0x02000001 : 0;
        target.State = given('0') ? 0 : given('1') ? 1 : given('7') ? 7 : 2;
        target.Device.Driver = given('v') ? "vhpd" : "vdev";
        bas1394::globals.LocalHostNode = given('l') ? 5 : 6;
        basBootloader::globals.DiscoveryComplete = !given('s');
        basBootloader::globals.TargetList.assign(1, given('t') ? target : BootloaderTarget{});
        basBootloader::globals.DebuggerList.assign(1, given('d') ? device : Device{});
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

TEST_F(DeviceRows, SayWhyCommandsAreOffAndWhatToDoAboutIt) {
    // Given as above; g it has gone from the bus. What needs a bootloader is off in more cases than the rest.
    const std::pair<std::string, const char*> rows[] = {
        {"t", "Command, Run Selected Device in Firmware Download Mode"},
        {"g", "has gone"},
        {"l", "computer itself"},
        {"o", "Rescan Bus"},
        {"s", "still being read"},
        {"d", "debugger"},
        {"", "no sign of a Tarnwell bootloader"},
    };
    const auto panelOf = [this](const std::string& letters) {
        const auto given = [&](char letter) { return letters.find(letter) != std::string::npos; };
        device.NodeNum = given('g') ? NO_NODE : 5;
        device.SelfId.LinkActive = !given('o');
        target.Info.BootloaderVersion = given('b');
        bas1394::globals.LocalHostNode = given('l') ? 5 : 6;
        basBootloader::globals.DiscoveryComplete = !given('s');
        basBootloader::globals.TargetList.assign(1, target);
        basBootloader::globals.DebuggerList.assign(1, given('d') ? device : Device{});
        return deviceRows::PanelOf(device, given('t') ? 0 : -1);
    };
    EXPECT_EQ(panelOf("tb").whyNoBootloader, "");
    for (const auto& [given, part] : rows) {
        EXPECT_NE(panelOf(given).whyNoBootloader.find(part), std::string::npos) << part;
        EXPECT_EQ(panelOf(given).whyNoTarget, given == "t" ? "" : panelOf(given).whyNoBootloader);
    }
}

TEST_F(DeviceRows, GiveUpTheTimeAndThenTheDateWhereThereIsLittleRoom) {
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

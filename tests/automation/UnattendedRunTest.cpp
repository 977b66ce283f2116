#include "HeadlessProgram.h"
#include "PackageBuilder.h"
#include "basApp.h"
#include "basAutomation.h"

#include <algorithm>

#include <gtest/gtest.h>

using namespace testing_support;
using testing_support::Message;

namespace {

constexpr const char* FIRST = "000F1B0000000001";
constexpr const char* SECOND = "000F1B0000000002";
const ByteArray IMAGE = Pattern(2500); // three blocks
const ByteArray CNE = Pattern(300);

// Commands that change a device or take it away: reset, download, GUID, MAC, parameters, start.
const std::vector<int> CHANGES = {2, 4, 5, 6, 10, 11, 12, 13, 17};

std::vector<int> Changes(const HeadlessProgram& program) {
    std::vector<int> codes;
    for (const std::string& request : program.RequestsSent()) {
        const int code = std::stoi(request.substr(12, 2), nullptr, 16);
        if (std::find(CHANGES.begin(), CHANGES.end(), code) != CHANGES.end())
            codes.push_back(code);
    }
    return codes;
}

// Operands of the requests with this code.
std::vector<std::string> Operands(const HeadlessProgram& program, const std::string& code) {
    std::vector<std::string> operands;
    for (const std::string& request : program.RequestsSent()) {
        if (request.substr(12, 2) == code)
            operands.push_back(request.substr(16));
    }
    return operands;
}

const std::vector<int> LOAD = {4, 5, 5, 5, 6, 17};

TEST(UnattendedRun, LoadsADeviceInItsBootloaderAndClosesTheProgram) {
    HeadlessProgram program(Bus({Target(FIRST, "bootloader")}));
    program.Write("fw/App.twd", Package(IMAGE));
    ASSERT_TRUE(program.Run("/D fw\\app.twd"));
    EXPECT_EQ(program.Flash(0, "application"), IMAGE);
    EXPECT_EQ(Changes(program), LOAD);
    EXPECT_TRUE(program.Said("Successfully programmed image from FW\\APP.TWD to the device."));
    EXPECT_TRUE(program.Said("File does not contain a CNE (configuration data): FW\\APP.TWD"));

    const std::string status = program.Read("script-data/1394_write_status.txt");
    EXPECT_NE(status.find(", USER, basAutomation, Successfully programmed image from"), std::string::npos) << status;
    const auto& lines = program.standardOutput;
    EXPECT_TRUE(std::count(lines.begin(), lines.end(), "progress loading 1024/2500"));
    EXPECT_TRUE(std::count(lines.begin(), lines.end(), "progress done 2500/2500"));
    EXPECT_TRUE(std::any_of(lines.begin(), lines.end(),
                            [](const std::string& line) { return line.starts_with("USER    Successfully loaded"); }));
    EXPECT_TRUE(program.standardError.empty());
}

TEST(UnattendedRun, BringsADeviceFromItsApplicationIntoTheBootloaderFirst) {
    HeadlessProgram program(Bus({Target(FIRST, "application")}));
    program.Write("app.twd", Package(IMAGE, CNE));
    ASSERT_TRUE(program.Run("/D app.twd"));
    EXPECT_EQ(program.Count("The device is running in application mode.  Resetting the device"), 1u);
    EXPECT_EQ(Changes(program), (std::vector<int>{2, 4, 5, 5, 5, 6, 4, 5, 6, 13, 17}));
    EXPECT_EQ(program.Flash(0, "application"), IMAGE);
    EXPECT_EQ(program.Flash(0, "config"), CNE);
}

TEST(UnattendedRun, WorksOnExactlyOneDevice) {
    struct Row {
        const char* options;
        std::size_t loaded; // index of the node, or 2 for none
        const char* message;
    };
    const Row rows[] = {
        {"", 2,
         "There are 2 targets on the 1394 bus that are compatible with firmware downloading from this "
         "application.  Cannot proceed."},
        {" /X 000f1b00 00000002", 1, "Successfully programmed image"},
        {" /X 000F1B0000000003", 2,
         "m_PerformUnattendedOperations: failed to find a match for device "
         "'000F1B0000000003' on the bus.  Exiting without performing operations!"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.options);
        HeadlessProgram program(Bus({Target(FIRST, "application"), Target(SECOND, "bootloader")}));
        program.Write("app.twd", Package(IMAGE));
        ASSERT_TRUE(program.Run(std::string("/D app.twd") + row.options));
        EXPECT_TRUE(program.Said(row.message));
        for (std::uint32_t node = 0; node < 2; ++node)
            EXPECT_EQ(program.Flash(node, "application") == IMAGE, node == row.loaded);
        EXPECT_EQ(Changes(program), row.loaded == 2 ? std::vector<int>{} : LOAD);
    }
}

TEST(UnattendedRun, GivesUpWhenADeviceNeverReachesItsBootloader) {
    HeadlessProgram program(
        Bus({Target(FIRST, "application")}, R"({"node": 0, "command": 2, "count": 100, "do": "silence"})"));
    program.Write("app.twd", Package(IMAGE));
    ASSERT_TRUE(program.Run("/D app.twd"));
    EXPECT_EQ(Changes(program), std::vector<int>(6, 2));
    EXPECT_TRUE(program.Said("Performed 6 attempts to reset the device and resume the operation(s).  Aborting."));
}

TEST(UnattendedRun, ProgramsIdentityAndFirmwareFromTheFolderOfA) {
    HeadlessProgram program(Bus({Target(FIRST, "bootloader")}));
    program.Write("DTCP/GUID/MACID/Config_Image.twd", Package({}, CNE));
    program.Write("DTCP/GUID/MACID/GUID.txt", "  00112233 44556677,next\r\n");
    program.Write("DTCP/GUID/MACID/MACID.txt", "aabbccddeeff\r\n");
    ASSERT_TRUE(program.Run("/a"));
    EXPECT_EQ(Changes(program), (std::vector<int>{12, 10, 11, 4, 5, 6, 13, 17}));
    EXPECT_EQ(Operands(program, "0a"), std::vector<std::string>{"3322110077665544"});
    EXPECT_EQ(Operands(program, "0b"), std::vector<std::string>{"bbaa0000ffeeddcc"});
    EXPECT_EQ(program.Flash(0, "config"), CNE);
    EXPECT_TRUE(program.Said("File does not contain an application image: DTCP\\GUID\\MACID\\Config_Image.twd"));
    EXPECT_NE(program.Read("1394_WRITE_STATUS/1394_write_status.txt"), "");
}

TEST(UnattendedRun, WritesAGuidInThreePasses) {
    HeadlessProgram program(Bus({Target(FIRST, "application")}));
    ASSERT_TRUE(program.Run("/G 00 11 22 33 44 55 66 77"));
    EXPECT_EQ(Changes(program), (std::vector<int>{2, 12, 10, 17}));
    EXPECT_EQ(Operands(program, "0a"), std::vector<std::string>{"3322110077665544"});
    EXPECT_EQ(basAutomation::globals.SchedulerAttempts, 2);
}

TEST(UnattendedRun, LoadsABootloaderBehindTheImage) {
    HeadlessProgram program(Bus({Target(FIRST, "bootloader")}));
    program.Write("app.twd", Package(IMAGE));
    program.Write("boot.twd", Package(CNE));
    ASSERT_TRUE(program.Run("/B boot.twd /D app.twd"));
    EXPECT_EQ(Changes(program), (std::vector<int>{4, 5, 5, 5, 6, 4, 5, 6, 17}));
    EXPECT_EQ(program.Flash(0, "application"), IMAGE);
    EXPECT_EQ(program.Flash(0, "bootloader"), CNE);
}

TEST(UnattendedRun, AFailedImageStopsBeforeBootloaderAndStart) {
    HeadlessProgram program(Bus({Target(FIRST, "bootloader")}, R"({"node": 0, "command": 6, "do": "badCrc"})"));
    program.Write("app.twd", Package(IMAGE, CNE));
    ASSERT_TRUE(program.Run("/D app.twd /B app.twd"));
    EXPECT_EQ(Changes(program), (std::vector<int>{4, 5, 5, 5, 6}));
    EXPECT_TRUE(program.Said("ProgramImageAndCneFromFile failed, code -1(0xFFFFFFFF)"));
}

TEST(UnattendedRun, BadInputIsToldAndReachesNoDevice) {
    struct Row {
        const char* options;
        const char* guid;
        const char* mac;
        const char* message;
    };
    constexpr const char *GOOD_GUID = "0011223344556677", *GOOD_MAC = "001122334455";
    const Row rows[] = {
        {"/D none.twd", "", "", "ERROR: \"NONE.TWD\" does not exist.  Can't perform operation!"},
        {"/D junk.twd", "", "", "ProgramImageAndCneFromFile failed, code -1"},
        {"/G 001122334455667", "", "",
         "The GUID \"001122334455667\" of the option /G can't be programmed: it isn't an even number of hexadecimal "
         "digits."},
        {"/G 00112233445566", "", "", "it makes 7 bytes in place of 8."},
        {"/G 00112233445566GG", "", "", "it isn't an even number of hexadecimal digits."},
        {"/A", nullptr, GOOD_MAC, "ERROR: \"DTCP\\GUID\\MACID\\GUID.txt\" does not exist.  Can't perform operation!"},
        {"/A", "", GOOD_MAC,
         "The GUID \"\" of the file \"DTCP\\GUID\\MACID\\GUID.txt\" can't be programmed: it is empty."},
        {"/A", "\r\n0011223344556677", GOOD_MAC, "it is empty."},
        {"/A", "001122334455667788", GOOD_MAC, "it makes 9 bytes in place of 8."},
        {"/A", GOOD_GUID, "0011223344", "The MAC address \"0011223344\" of the file \"DTCP\\GUID\\MACID\\MACID.txt\""},
        {"/A", GOOD_GUID, "x1234567890123", "it isn't an even number of hexadecimal digits."},
        {"/A", GOOD_GUID, "00:11:22:33:44:5", "it isn't an even number of hexadecimal digits."},
        {"/R keys.html", "", "", "Key batches are not available in this version: 'KEYS.HTML' was not executed."},
        {"/I", "", "", "Default 1394 transaction timeout = 200"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.options) + " " + row.message);
        HeadlessProgram program(Bus({Target(FIRST, "bootloader")}));
        program.Write("junk.twd", std::string(2000, 'x'));
        program.Write("DTCP/GUID/MACID/Config_Image.twd", Package(IMAGE));
        if (row.guid != nullptr)
            program.Write("DTCP/GUID/MACID/GUID.txt", std::string(row.guid));
        program.Write("DTCP/GUID/MACID/MACID.txt", std::string(row.mac));
        ASSERT_TRUE(program.Run(row.options));
        EXPECT_TRUE(program.Said(row.message));
        EXPECT_EQ(Changes(program), std::vector<int>{});
    }
}

TEST(UnattendedRun, GoesOnWithoutAStatusFileThatCannotBeMade) {
    HeadlessProgram program(Bus({Target(FIRST, "bootloader")}));
    program.Write("app.twd", Package(IMAGE));
    program.Write("script-data", std::string("a file in the place of the folder"));
    ASSERT_TRUE(program.Run("/D app.twd"));
    EXPECT_EQ(program.Flash(0, "application"), IMAGE);
    ASSERT_FALSE(program.standardError.empty());
    EXPECT_NE(program.standardError[0].find("The status file \"script-data\\1394_write_status.txt\" can't be written"),
              std::string::npos);
}

TEST(UnattendedRun, WithoutAnOperationTheProgramStaysWithItsWindows) {
    HeadlessProgram program(Bus({Target(FIRST, "bootloader")}));
    EXPECT_FALSE(program.Run("/S /O /X 000F1B0000000001", 60'000));
    EXPECT_EQ(Changes(program), std::vector<int>{});
    EXPECT_TRUE(program.standardOutput.empty());
    std::int32_t handle = 0, bootloaderVersion = 0;
    EXPECT_EQ(basAutomation::GetNumCompatibleTargets("", handle, bootloaderVersion), 1);
    EXPECT_EQ(handle, 63);
}

} // namespace

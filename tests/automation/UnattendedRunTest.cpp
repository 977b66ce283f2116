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

// The commands that change a device or take it away, in order, GUID and MAC with their operands:
// "2 10(3322110077665544) 17" is a reset, a new GUID, the start of an image.
std::string Changes(const HeadlessProgram& program) {
    std::string changes;
    for (const std::string& request : program.RequestsSent()) {
        const int code = std::stoi(request.substr(12, 2), nullptr, 16);
        const bool isIdentity = code == 10 || code == 11;
        if (code == 2 || (code >= 4 && code <= 6) || code == 12 || code == 13 || code == 17 || isIdentity)
            changes += std::to_string(code) + (isIdentity ? "(" + request.substr(16) + ") " : " ");
    }
    return changes.substr(0, changes.size() - !changes.empty());
}

struct Files {
    const char* guid = "  00112233 44556677,next\r\n";
    const char* mac = "aabbccddeeff\r\n";
};

void WriteFiles(const HeadlessProgram& program, const Files& files = {}) {
    program.Write("fw/App.twd", Package(IMAGE));
    program.Write("both.twd", Package(IMAGE, CNE));
    program.Write("boot.twd", Package(CNE));
    program.Write("junk.twd", std::string(2000, 'x'));
    program.Write("DTCP/GUID/MACID/Config_Image.twd", Package({}, CNE));
    if (files.guid != nullptr)
        program.Write("DTCP/GUID/MACID/GUID.txt", std::string(files.guid));
    program.Write("DTCP/GUID/MACID/MACID.txt", std::string(files.mac));
}

TEST(UnattendedRun, DoesItsWorkInOneOrderAndClosesTheProgram) {
    struct Row {
        const char* commandLine;
        const char* mode;
        const char* faults;
        const char* changes;
        ByteArray application, config, bootloader; // the flash behind the run
        const char* message;
    };
    const ByteArray none;
    const Row rows[] = {
        {"/D fw\\app.twd", "bootloader", "", "4 5 5 5 6 17", IMAGE, none, none,
         "Successfully programmed image from FW\\APP.TWD to the device."},
        {"/D both.twd", "application", "", "2 4 5 5 5 6 4 5 6 13 17", IMAGE, CNE, none,
         "The device is running in application mode.  Resetting the device to bootloader mode and re-starting"},
        {R"(/B boot.twd /D "fw/app.twd")", "bootloader", "", "4 5 5 5 6 4 5 6 17", IMAGE, none, CNE,
         "Successfully programmed new bootloader firmware image."},
        {"/a", "bootloader", "", "12 10(3322110077665544) 11(bbaa0000ffeeddcc) 4 5 6 13 17", none, CNE, none,
         "File does not contain an application image: DTCP\\GUID\\MACID\\Config_Image.twd"},
        {"/D both.twd /B boot.twd", "bootloader", R"({"node": 0, "command": 6, "do": "badCrc"})", "4 5 5 5 6", IMAGE,
         none, none, "ProgramImageAndCneFromFile failed, code -1(0xFFFFFFFF)"},
        {"/D fw\\app.twd", "application", R"({"node": 0, "command": 2, "count": 100, "do": "silence"})", "2 2 2 2 2 2",
         none, none, none, "Performed 6 attempts to reset the device and resume the operation(s).  Aborting."},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.commandLine);
        HeadlessProgram program(Bus({Target(FIRST, row.mode)}, row.faults));
        WriteFiles(program);
        ASSERT_TRUE(program.Run(row.commandLine));
        EXPECT_EQ(Changes(program), row.changes);
        EXPECT_EQ(program.Flash(0, "application"), row.application);
        EXPECT_EQ(program.Flash(0, "config"), row.config);
        EXPECT_EQ(program.Flash(0, "bootloader"), row.bootloader);
        EXPECT_TRUE(program.Said(row.message));
        EXPECT_TRUE(program.standardError.empty());
    }
}

TEST(UnattendedRun, TellsWhatItDoesOnStandardOutputAndInTheStatusFile) {
    HeadlessProgram program(Bus({Target(FIRST, "bootloader")}));
    WriteFiles(program);
    ASSERT_TRUE(program.Run("/F"));
    const std::string status = program.Read("1394_WRITE_STATUS/1394_write_status.txt");
    EXPECT_NE(status.find(", USER, basAutomation, Successfully programmed CNE from"), std::string::npos) << status;
    const auto& lines = program.standardOutput;
    for (const char* line :
         {"progress loading 300/300", "progress done 300/300", "USER    Successfully set CNE to factory default."})
        EXPECT_EQ(std::count(lines.begin(), lines.end(), line), 1) << line;
}

TEST(UnattendedRun, WorksOnExactlyOneDevice) {
    const struct {
        const char* commandLine;
        std::size_t loaded; // index of the node, or 2 for none
        const char* message;
    } rows[] = {
        {"/D fw\\app.twd /X 000f1b00 00000002", 1, "Successfully programmed image"},
        {"/G 0011223344556677", 2,
         "WriteGuid: there are 2 targets on the 1394 bus that are compatible with firmware downloading from this "
         "application.  Cannot proceed."},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.commandLine);
        HeadlessProgram program(Bus({Target(FIRST, "application"), Target(SECOND, "bootloader")}));
        WriteFiles(program);
        ASSERT_TRUE(program.Run(row.commandLine));
        EXPECT_TRUE(program.Said(row.message));
        for (std::uint32_t node = 0; node < 2; ++node)
            EXPECT_EQ(program.Flash(node, "application") == IMAGE, node == row.loaded);
        EXPECT_EQ(Changes(program), row.loaded == 2 ? "" : "4 5 5 5 6 17");
    }
}

TEST(UnattendedRun, BadInputIsToldAndReachesNoDevice) {
    struct Row {
        const char* options;
        Files files;
        const char* message;
    };
    constexpr const char *GOOD_GUID = "0011223344556677", *GOOD_MAC = "001122334455";
    const Row rows[] = {
        {"/D none.twd", {}, "ERROR: \"NONE.TWD\" does not exist.  Can't perform operation!"},
        {"/D junk.twd", {}, "ProgramImageAndCneFromFile failed, code -1"},
        {"/G 001122334455667",
         {},
         "The GUID \"001122334455667\" of the option /G can't be programmed: it isn't an even number of hexadecimal "
         "digits."},
        {"/G 00112233445566", {}, "it makes 7 bytes in place of 8."},
        {"/G 00112233445566GG", {}, "it isn't an even number of hexadecimal digits."},
        {"/A", {nullptr, GOOD_MAC}, "ERROR: \"DTCP\\GUID\\MACID\\GUID.txt\" does not exist.  Can't perform operation!"},
        {"/A",
         {"", GOOD_MAC},
         "The GUID \"\" of the file \"DTCP\\GUID\\MACID\\GUID.txt\" can't be programmed: it is empty."},
        {"/A", {"001122334455667788", GOOD_MAC}, "it makes 9 bytes in place of 8."},
        {"/A",
         {GOOD_GUID, "0011223344"},
         "The MAC address \"0011223344\" of the file \"DTCP\\GUID\\MACID\\MACID.txt\""},
        {"/A", {GOOD_GUID, "00:11:22:33:44:5"}, "it isn't an even number of hexadecimal digits."},
        {"/R keys.html",
         {},
         "PerformKeyBatchOperation: \"KEYS.HTML\" does not exist.  Can't perform operation!  (current directory = "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.options) + " " + row.message);
        HeadlessProgram program(Bus({Target(FIRST, "bootloader")}));
        WriteFiles(program, row.files);
        ASSERT_TRUE(program.Run(row.options));
        EXPECT_TRUE(program.Said(row.message));
        EXPECT_EQ(Changes(program), "");
    }
}

TEST(UnattendedRun, GoesOnWithoutAStatusFileThatCannotBeMade) {
    HeadlessProgram program(Bus({Target(FIRST, "bootloader")}));
    WriteFiles(program);
    program.Write("script-data", std::string("a file in the place of the folder"));
    ASSERT_TRUE(program.Run("/D fw\\app.twd"));
    EXPECT_EQ(program.Flash(0, "application"), IMAGE);
    ASSERT_FALSE(program.standardError.empty());
    EXPECT_NE(program.standardError[0].find("The status file \"script-data\\1394_write_status.txt\" can't be written"),
              std::string::npos);
}

TEST(UnattendedRun, WithoutAnOperationTheProgramStaysWithItsWindows) {
    HeadlessProgram program(Bus({Target(FIRST, "bootloader")}));
    EXPECT_FALSE(program.Run("/S /O /X 000F1B0000000001", 60'000));
    EXPECT_EQ(Changes(program), "");
    EXPECT_TRUE(program.standardOutput.empty());
    std::int32_t handle = 0, bootloaderVersion = 0;
    EXPECT_EQ(basAutomation::GetNumCompatibleTargets("", handle, bootloaderVersion), 1);
    EXPECT_EQ(handle, 63);
}

} // namespace

#include "HeadlessProgram.h"
#include "PackageBuilder.h"

#include <algorithm>

#include <gtest/gtest.h>

using namespace testing_support;

namespace {

constexpr const char* FIRST = "000F1B0000000001";
const ByteArray IMAGE = Pattern(2500); // three blocks
const ByteArray CNE = Pattern(300);

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
    const std::string bootloader = Target(FIRST, "bootloader"), application = Target(FIRST, "application"),
                      badCrc = R"({"node": 0, "command": 6, "do": "badCrc"})";
    const struct {
        const char* commandLine;
        std::string target, faults, changes;
        ByteArray application, config, bootloader; // the flash behind the run
        const char* message;
    } rows[] = {
        {"/D both.twd", application, "", " 2 4 5 5 5 6 4 5 6 13 17", IMAGE, CNE, {}, "Successfully programmed image"},
        {R"(/B boot.twd /D "fw/app.twd")", bootloader, "", " 4 5 5 5 6 4 5 6 17", IMAGE, {}, CNE, "new bootloader"},
        {"/a", bootloader, "", " 12 10(3322110077665544) 11(bbaa0000ffeeddcc) 4 5 6 13 17", {}, CNE, {}, "image: DTCP"},
        {"/F", bootloader, "", " 4 5 6 13 17", {}, CNE, {}, "Successfully set CNE to factory default."},
        {"/D both.twd /B boot.twd", bootloader, badCrc, " 4 5 5 5 6", IMAGE, {}, {}, "FromFile failed, code -1(0xFFFF"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.commandLine);
        HeadlessProgram program(Bus({row.target}, row.faults));
        WriteFiles(program);
        ASSERT_TRUE(program.Run(row.commandLine));
        EXPECT_EQ(program.Changes(), row.changes);
        EXPECT_EQ(program.Flash(0, "application"), row.application);
        EXPECT_EQ(program.Flash(0, "config"), row.config);
        EXPECT_EQ(program.Flash(0, "bootloader"), row.bootloader);
        EXPECT_TRUE(program.Said(row.message));
        EXPECT_TRUE(program.standardError.empty());
        const bool loadedCne = row.config == CNE || row.bootloader == CNE;
        for (const char* line : {"progress loading 300/300", "progress done 300/300"})
            EXPECT_EQ(std::ranges::count(program.standardOutput, line), loadedCne) << line;
        EXPECT_EQ(std::ranges::count(program.standardOutput, "progress loading 1024/2500"), !row.application.empty());
    }
}

TEST(UnattendedRun, BadInputIsToldAndReachesNoDevice) {
    constexpr const char *GUID = "0011223344556677", *MAC = "001122334455", *ODD = "an even number of hexadecimal";
    const struct {
        const char* options;
        Files files;
        const char* message;
    } rows[] = {
        {"/D none.twd", {}, "ERROR: \"NONE.TWD\" does not exist.  Can't perform operation!"},
        {"/D junk.twd", {}, "ProgramImageAndCneFromFile failed, code -1"},
        {"/G 001122334455667", {}, "The GUID \"001122334455667\" of the option /G can't be programmed: it isn't an"},
        {"/G 00112233445566", {}, "it makes 7 bytes in place of 8."},
        {"/G 00112233445566GG", {}, ODD},
        {"/A", {nullptr, MAC}, "ERROR: \"DTCP\\GUID\\MACID\\GUID.txt\" does not exist.  Can't perform operation!"},
        {"/A", {"", MAC}, "\"\" of the file \"DTCP\\GUID\\MACID\\GUID.txt\" can't be programmed: it is empty."},
        {"/A", {"001122334455667788", MAC}, "it makes 9 bytes in place of 8."},
        {"/A", {GUID, "0011223344"}, "The MAC address \"0011223344\" of the file \"DTCP\\GUID\\MACID\\MACID.txt\""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.options) + " " + row.message);
        HeadlessProgram program(Bus({Target(FIRST, "bootloader")}));
        WriteFiles(program, row.files);
        ASSERT_TRUE(program.Run(row.options));
        EXPECT_TRUE(program.Said(row.message));
        EXPECT_EQ(program.Changes(), "");
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

} // namespace

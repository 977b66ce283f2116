#include "AnotherProgram.h"
#include "HeadlessProgram.h"
#include "Levels.h"
#include "PackageBuilder.h"
#include "PlatformTest.h"
#include "ScriptedFrontEnd.h"
#include "bas1394.h"
#include "basAutomation.h"

#include <algorithm>
#include <cstring>

using namespace testing_support;

namespace {

constexpr const char* DONE = "Successfully programmed";
constexpr const char* HARMLESS = "mnuInitializePersistentParameters: continuing anyway";
constexpr const char* FIRST = "000F1B0000000001";
const ByteArray IMAGE = Pattern(2500); // three blocks
const ByteArray CNE = Pattern(300);

constexpr const char* SECOND = "000F1B0000000002";
constexpr const char* NO_GUID = "0000000000000000";

ByteArray Changed(ByteArray package, std::size_t cut, std::uint8_t hardware = 17) {
    package.resize(package.size() - cut);
    package[0x20] = hardware;
    return package;
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
    program.Write("other.twd", Changed(Package(CNE), 0, 18));
    program.Write("cut.twd", Changed(Package(IMAGE, CNE), 1));
    program.Write("DTCP/GUID/MACID/Config_Image.twd", Package({}, CNE));
    program.Write("DTCP/GUID/MACID/GUID.txt", std::string(files.guid));
    program.Write("DTCP/GUID/MACID/MACID.txt", std::string(files.mac));
}

TEST(UnattendedRun, DoesItsWorkInAFixedOrderAndClosesTheProgram) {
    const std::string boot = Target(FIRST, "bootloader"), app = Target(FIRST, "application"),
                      badCrc = R"({"node": 0, "command": 6, "do": "badCrc"})",
                      noParameters = R"({"node": 0, "command": 12, "do": "silence"})",
                      identity = "parameters guid(3322110077665544) mac(bbaa0000ffeeddcc) start block end defaults run";
    const struct {
        const char* commandLine;
        std::string target, faults, changes;
        ByteArray application, config, bootloader; // the flash after the run
        const char* message;
    } rows[] = {
        {"/D both.twd", app, "", "reset start block*3 end start block end defaults run", IMAGE, CNE, {}, DONE},
        {"/B boot.twd /D fw\\app.twd", boot, "", "start block*3 end start block end run", IMAGE, {}, CNE, "new boot"},
        {"/a", boot, "", identity, {}, CNE, {}, "image: DTCP"},
        {"/F", boot, "", "start block end defaults run", {}, CNE, {}, "Successfully set CNE to factory default."},
        {"/D both.twd /B boot.twd", boot, badCrc, "start block*3 end", IMAGE, {}, {}, "FromFile failed, code -1("},
        {"/D other.twd /O", boot, "", "start block end run", CNE, {}, {}, DONE},
        {"/G 0011223344556677 /D fw\\app.twd", boot, "", "start block*3 end run", IMAGE, {}, {}, DONE},
        {"/G 0011223344556677 /B boot.twd", boot, "", "start block end run", {}, {}, CNE, DONE},
        {"/A", boot, noParameters, identity, {}, CNE, {}, HARMLESS},
        {"/G 0011223344556677", boot, noParameters, "parameters guid(3322110077665544) run", {}, {}, {}, HARMLESS},
        {"/D fw\\app.twd /R none.txt", app, "", "reset", {}, {}, {}, "NONE.TXT"}, // the batch's result ends it
        {"/D fw\\app.twd /S", app, "", "reset start block*3 end run", IMAGE, {}, {}, "File not found: xdg-open"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.commandLine);
        HeadlessProgram program(Bus({row.target}, row.faults));
        WriteFiles(program);
        const Variable noViewer("PATH", program.directory.path());
        ASSERT_TRUE(program.Run(row.commandLine));
        EXPECT_EQ(program.Changes(), row.changes);
        EXPECT_EQ(program.Flash(0, "application"), row.application);
        EXPECT_EQ(program.Flash(0, "config"), row.config);
        EXPECT_EQ(program.Flash(0, "bootloader"), row.bootloader);
        EXPECT_TRUE(program.Said(row.message));
        EXPECT_TRUE(program.standardError.empty());
        const bool alone = std::strlen(row.commandLine) == 2; // /A and /F have their own status file
        EXPECT_NE(program.Read("1394_WRITE_STATUS/1394_write_status.txt").empty(), alone);
        EXPECT_EQ(program.Read("script-data/1394_write_status.txt").empty(), alone);
        const bool loadedCne = row.application == CNE || row.config == CNE || row.bootloader == CNE;
        for (const char* line : {"progress loading 300/300", "progress done 300/300"})
            EXPECT_EQ(std::ranges::count(program.standardOutput, line), loadedCne) << line;
        EXPECT_EQ(std::ranges::count(program.standardOutput, "progress loading 1024/2500"), row.application == IMAGE);
    }
}

TEST(UnattendedRun, LeavesADeviceAloneThatAnotherProgramLoads) {
    for (const char* mode : {"application", "bootloader"}) {
        SCOPED_TRACE(mode);
        HeadlessProgram program(Bus({Target(FIRST, mode)}));
        WriteFiles(program);
        AnotherProgram other;
        ASSERT_TRUE(other.Takes(0x000F1B0000000001));
        ASSERT_TRUE(program.Run("/G 0011223344556677 /D both.twd"));
        EXPECT_TRUE(program.RequestsSent().empty());
        EXPECT_TRUE(program.Said("The device 000F1B0000000001 is being loaded by another program.  Nothing"));
        EXPECT_EQ(basAutomation::globals.Verdict.Outcome, basApp::OutcomeKind::Unchanged);
    }
}

TEST(UnattendedRun, KeepsItsDeviceFromOtherProgramsBetweenItsSteps) {
    const std::tuple<const char*, const char*, std::int64_t> rows[] = {
        {"/D both.twd", "Successfully programmed image from ", 0x000F1B0000000001}, // the configuration data follow
        {"/A", "Successfully set MAC address to the new value.", 0x0011223344556677}};
    for (const auto& [commandLine, message, guid] : rows) {
        SCOPED_TRACE(commandLine);
        HeadlessProgram program(Bus({Target(FIRST, "bootloader")}));
        WriteFiles(program);
        const AnotherProgram other;
        std::vector<bool> free; // for another program, whenever the message comes
        program.eachMessage = [&, text = message, number = guid](std::string_view said) {
            if (said.starts_with(text))
                free.push_back(other.CouldTake(number));
        };
        ASSERT_TRUE(program.Run(commandLine));
        EXPECT_EQ(free, std::vector{false});
        EXPECT_TRUE(other.CouldTake(guid));
    }
}

TEST(UnattendedRun, ReportsBadInputAndLeavesTheDeviceAlone) {
    constexpr const char *GUID = "0011223344556677", *MAC = "001122334455",
                         *NO_CNE_END = "CUT.TWD\" can't be loaded: its CNE reaches outside the file, which is cut off";
    const std::tuple<const char*, Files, const char*> rows[] = {
        {"/D none.twd", {}, "ERROR: \"NONE.TWD\" does not exist.  Can't perform operation!"},
        {"/D junk.twd", {}, "The package \"JUNK.TWD\" can't be loaded: it doesn't begin with a package header."},
        {"/D fw", {}, "The package \"FW\" can't be loaded: it can't be read (error #"},
        {"/D cut.twd", {}, NO_CNE_END},
        {"/D fw\\app.twd /B cut.twd", {}, NO_CNE_END},
        {"/B dtcp\\guid\\macid\\config_image.twd", {}, "CONFIG_IMAGE.TWD\" can't be loaded: it contains no image."},
        {"/B other.twd",
         {},
         "aborted due to hardware incompatibility: TWD Hardware ID = 18 (0x12)  Target Hardware ID "
         "= 17(0x11), file 'OTHER.TWD'"},
        {"/G 001122334455667", {}, "The GUID \"001122334455667\" of the option /G can't be programmed: it isn't an"},
        {"/G 00112233445566", {}, "it makes 7 bytes in place of 8."},
        {"/A", {"", MAC}, "\"\" of the file \"DTCP\\GUID\\MACID\\GUID.txt\" can't be programmed: it is empty."},
        {"/A", {GUID, "0011223344"}, "The MAC address \"0011223344\" of the file \"DTCP\\GUID\\MACID\\MACID.txt\""},
    };
    for (const auto& [options, files, message] : rows)
        for (const char* mode : {"application", "bootloader"}) {
            SCOPED_TRACE(std::string(mode) + " " + options + " " + message);
            HeadlessProgram program(Bus({Target(FIRST, mode)}), LEVEL_ERROR);
            WriteFiles(program, files);
            ASSERT_TRUE(program.Run(options));
            EXPECT_TRUE(program.Said(message));
            EXPECT_EQ(std::ranges::count(program.messages, LEVEL_ERROR, &testing_support::Message::level), 1);
            EXPECT_EQ(program.Changes(), "");
        }
}

TEST(UnattendedRun, WorksOnlyOnTheOneDeviceThatIsMeant) {
    constexpr const char* GONE = R"({"node": 1, "command": 15, "do": "unplug"})";
    constexpr std::uint32_t NONE = 9;
    // Options, GUIDs of the targets, faults, message, node that is loaded.
    const std::tuple<std::string, std::vector<const char*>, const char*, const char*, std::uint32_t> rows[] = {
        {"/D junk.twd", {}, "", "There are no targets on the 1394 bus that", NONE},
        {"/D fw\\app.twd", {FIRST, SECOND}, "", "There are 2 targets on the 1394 bus that", NONE},
        {"/D fw\\app.twd", {FIRST, SECOND}, GONE, DONE, 0},
        {"/D fw\\app.twd", {NO_GUID, NO_GUID}, "", "There are 2 targets on the 1394 bus that", NONE},
        {"/D fw\\app.twd", {NO_GUID, FIRST}, "", "There are 2 targets on the 1394 bus that", NONE},
        {"/D fw\\app.twd /X 000f1b0000000001", {NO_GUID, FIRST}, "", DONE, 1},
        {"/D fw\\app.twd /X 000f1b0000000001", {FIRST, FIRST, SECOND}, "", "There are 2 targets on the 1394", NONE},
        {"/D fw\\app.twd /X 000f1b0000000001", {SECOND}, "", "find a match for device '000F1B0000000001'", NONE},
        {"/G 0011223344556677", {}, "", "WriteGuid: there are no targets on the 1394 bus that", NONE},
        {"/G 0011223344556677", {FIRST, FIRST}, "", "WriteGuid: there are 2 targets on the 1394 bus that", NONE},
        {"/G 0011223344556677 /X 9", {FIRST}, "", "WriteGuid: failed to find a match for device '9'", NONE},
    };
    for (const auto& [options, guids, faults, message, loaded] : rows) {
        SCOPED_TRACE(options + " " + message);
        std::vector<std::string> targets;
        for (const char* guid : guids)
            targets.push_back(Target(guid, "bootloader"));
        HeadlessProgram program(Bus(targets, faults));
        WriteFiles(program);
        ASSERT_TRUE(program.Run(options));
        EXPECT_TRUE(program.Said(message));
        EXPECT_EQ(program.Changes(), loaded == NONE ? "" : "start block*3 end run");
        for (std::uint32_t node = 0; node < targets.size(); ++node)
            EXPECT_EQ(program.Flash(node, "application"), node == loaded ? IMAGE : ByteArray()) << node;
    }
}

TEST(UnattendedRun, WaitsForFourTicksInARowAgainAfterEachReset) {
    HeadlessProgram program(Bus({Target(FIRST, "bootloader")}));
    program.Run("", 3000);
    basAutomation::InitializeCommandLineOptions();
    basApp::globals.CommandLineOptions = {"", "/G0011223344556677"};
    std::string ends;
    testing_support::ScriptedFrontEnd frontEnd;
    frontEnd.endRun = [&] { ends = program.Changes(); };
    // Per tick: - nothing sent yet, p parameters initialized, g GUID programmed and the run ended.
    std::string changes;
    for (const char bus : std::string("111011111111")) {
        bas1394::globals.BusEnumerated = bus == '1';
        basAutomation::SchedulerTick();
        changes += program.Changes() == "" ? '-' : ends.empty() ? 'p' : 'g';
    }
    EXPECT_EQ(changes, "-------ppppg");
    EXPECT_EQ(ends, "parameters guid(3322110077665544) run");
}

// Of two files whose names differ in case alone, only the typed one may be opened.
TEST(UnattendedRun, OpensAFileAsItWasTyped) {
    const std::tuple<const char*, ByteArray, ByteArray, const char*> rows[] = {
        {"/D app.twd /B App.twd", IMAGE, CNE, "Successfully programmed image from APP.TWD to the device."},
        {"/D \"fw/app.twd\"", IMAGE, {}, "onto target"},
        {"/D \"FW\\APP.TWD\"", IMAGE, {}, "onto target"},
        {"/D aPP.twd", {}, {}, R"(ERROR: "APP.TWD" could be any of "App.twd", "app.twd".  Can't perform operation!)"},
        {"/R \"b/keys.txt\"", {}, {}, "received 4 bytes"},
        {"/R \"b/KEYS.txt\"", {}, {}, "PerformKeyBatchOperation: \"B/KEYS.TXT\" could be any of \"b/Keys.txt\""},
    };
    for (const auto& [commandLine, application, bootloader, message] : rows) {
        SCOPED_TRACE(commandLine);
        HeadlessProgram program(Bus({Target(FIRST, "bootloader", R"(, "keys": {"MODEL": "TX-9"})")}));
        for (const char* name : {"app.twd", "fw/app.twd"})
            program.Write(name, Package(IMAGE));
        for (const char* name : {"App.twd", "Fw/other.twd"})
            program.Write(name, Package(CNE));
        program.Write("b/Keys.txt", std::string("read --single NONE"));
        program.Write("b/keys.txt", std::string("read --single MODEL"));
        ASSERT_TRUE(program.Run(commandLine));
        EXPECT_EQ(program.Flash(0, "application"), application);
        EXPECT_EQ(program.Flash(0, "bootloader"), bootloader);
        EXPECT_TRUE(program.Said(message));
        EXPECT_FALSE(std::filesystem::exists(program.directory.file("b/Keys.out.txt")));
    }
}

TEST(UnattendedRun, EndsInOrderOnASignalAndReportsTheStateOfTheDevice) {
    const std::tuple<const char*, const char*, const char*, const char*, const char*> rows[] = {
        {"BuildBootloaderDeviceList completed", "bootloader", "/D both.twd", "", "out.  No device was changed."},
        {"in application mode.", "application", "/D both.twd", "reset", "into its bootloader, nothing was written"},
        {"Initialized the Persistent", "bootloader", "/G 0011223344556677", "parameters",
         "GUID is not programmed yet."},
        {"progress erasing 0/2500", "bootloader", "/D both.twd", "start", "and got 0 of 2500 bytes"},
        {"progress loading 1024/2500", "bootloader", "/D both.twd", "start block end", "and got 1024 of 2500 bytes"},
        {"progress checking 2500/2500", "bootloader", "/D both.twd", "start block*3 end", "load of the Config Data"},
    };
    for (const auto& [at, mode, options, changes, state] : rows) {
        SCOPED_TRACE(at);
        HeadlessProgram program(Bus({Target(FIRST, mode, R"(, "eraseMs": 5000)")}));
        WriteFiles(program);
        program.signalAt = at;
        ASSERT_TRUE(program.Run(options, 30'000));
        EXPECT_EQ(program.Changes(), changes);
        const std::string status = program.Read("script-data/1394_write_status.txt");
        const std::size_t line = status.find(state);
        ASSERT_NE(line, std::string::npos) << status;
        EXPECT_LT(status.rfind('\n', line), status.rfind(", ERROR, ", line) + 1) << status; // npos + 1 is 0
    }
}

// The outcome of the last run, the state of the flash, and each step with its outcome unless it is done.
std::string VerdictOfRun() {
    constexpr const char* OUTCOMES[] = {"pending",   "done",    "no-device", "ambiguous",   "refused",
                                        "unchanged", "damaged", "failed",    "interrupted", "unconfirmed"};
    constexpr const char* STATES[] = {"unchanged", "identical", "damaged", "unknown"};
    constexpr const char* STEPS[] = {"option", "reset",    "parameters", "guid",     "mac",
                                     "load",   "defaults", "start",      "read-key", "write-key"};
    const basApp::RunVerdict& verdict = basAutomation::globals.Verdict;
    std::string text = fmt::format("{}, flash {}:", OUTCOMES[int(verdict.Outcome)], STATES[int(verdict.Flash())]);
    for (const basApp::StepVerdict& step : verdict.Steps) {
        const bool done = step.Outcome == basApp::OutcomeKind::Done;
        EXPECT_EQ(step.Reason.empty(), done);
        text += fmt::format(" {}", STEPS[int(step.Operation)]);
        if (step.Operation == basApp::OperationKind::Load)
            text += fmt::format("({} {}/{})", step.ImageType, step.Sent, step.Length);
        text += done ? "" : fmt::format("={}", OUTCOMES[int(step.Outcome)]);
    }
    EXPECT_EQ(verdict.Reason.empty(), verdict.Outcome == basApp::OutcomeKind::Done);
    return text;
}

TEST(UnattendedRun, LeavesAVerdictForEveryKindOfEnd) {
    const std::string vanished = R"({"node": 0, "do": "unplug", "operation": "write", "address": "0xffffc8021040"})",
                      noWrite = R"({"node": 0, "command": 4, "result": 121})";
    const auto silence = [](int command) {
        return fmt::format(R"({{"node": 0, "command": {}, "count": 99, "do": "silence"}})", command);
    };
    const struct {
        const char *options, *mode;
        std::string faults;
        const char *signalAt, *verdict;
    } rows[] = {
        {"/D both.twd", "application", "", "",
         "done, flash identical: reset load(0 2500/2500) load(1 300/300) defaults start=unconfirmed"},
        {"/I", "application", "", "", "done, flash unchanged:"},
        {"/A", "bootloader", "", "",
         "done, flash identical: parameters guid mac load(1 300/300) defaults start=unconfirmed"},
        {"/G 0011223344556677", "application", "", "",
         "done, flash unchanged: reset parameters guid start=unconfirmed"},
        {"/D both.twd /X 09", "bootloader", "", "", "no-device, flash unchanged:"},
        {"/D junk.twd", "application", "", "", "refused, flash unchanged:"},
        {"/C both.twd", "application", "", "", "refused, flash unchanged: option=refused"},
        {"/D boot.twd /M 00", "bootloader", "", "",
         "failed, flash identical: load(0 300/300) start=unconfirmed option=refused"},
        {"/G 0011223344556677", "bootloader", silence(10), "", "failed, flash unchanged: parameters guid=failed"},
        {"/D boot.twd", "application", silence(2), "",
         "unchanged, flash unchanged: reset reset reset reset reset reset"},
        {"/D boot.twd", "bootloader", noWrite, "", "damaged, flash unknown: load(0 0/300)=damaged"},
        {"/D boot.twd", "bootloader", silence(4), "", "damaged, flash damaged: load(0 0/300)=damaged"},
        {"/D both.twd", "bootloader", vanished, "", "damaged, flash damaged: load(0 0/2500)=damaged"},
        {"/D boot.twd", "bootloader", R"({"node": 0, "command": 6, "do": "badCrc"})", "",
         "damaged, flash damaged: load(0 300/300)=damaged"},
        {"/D both.twd", "bootloader", R"({"node": 0, "command": 6, "skip": 1, "do": "badCrc"})", "",
         "damaged, flash damaged: load(0 2500/2500) load(1 300/300)=damaged"},
        {"/D both.twd", "bootloader", "", "BuildBootloaderDeviceList completed", "interrupted, flash unchanged:"},
        {"/D both.twd", "bootloader", "", "progress loading 1024/2500",
         "interrupted, flash damaged: load(0 1024/2500)=interrupted"},
        {"/D both.twd", "bootloader", "", "progress checking 2500/2500",
         "interrupted, flash identical: load(0 2500/2500) load(1 0/0)=interrupted"},
        {"/R none.txt", "bootloader", "", "", "refused, flash unchanged:"},
        {"/R keys.txt", "bootloader", "", "", "done, flash unchanged: read-key"},
        {"/R write.txt", "bootloader", silence(19), "", "failed, flash unchanged: write-key=failed"},
        {"/R bad.txt", "bootloader", "", "", "failed, flash unchanged: read-key read-key=failed option=refused"},
        {"/D boot.twd /R keys.txt", "application", "", "",
         "unchanged, flash unchanged: reset option=unchanged read-key=failed"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.options) + row.faults + row.signalAt);
        HeadlessProgram program(
            Bus({Target(FIRST, row.mode, R"(, "eraseMs": 5000, "keys": {"MODEL": "TX-9"})")}, row.faults), LEVEL_WATCH);
        WriteFiles(program);
        program.Write("keys.txt", std::string("read --single MODEL"));
        program.Write("write.txt", std::string("write --single MODEL keys.txt"));
        program.Write("bad.txt", std::string("read --single MODEL\nread --single NONE\ncopy --single MODEL"));
        program.signalAt = row.signalAt;
        ASSERT_TRUE(program.Run(row.options));
        EXPECT_EQ(VerdictOfRun(), row.verdict);
    }
}

TEST(UnattendedRun, ContinuesWithoutAStatusFile) {
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

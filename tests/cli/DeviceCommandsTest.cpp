// The commands that ask or reset a device: info, crc, verify, reset, bus-reset.
#include "AnotherProgram.h"
#include "CommandTest.h"
#include "PackageBuilder.h"

using namespace testing_support;

namespace {

const ByteArray IMAGE = Pattern(2500), CONFIG = Pattern(700);
constexpr const char* GUID = "000F1B0000000001";

class DeviceCommandsTest : public CommandTest {
protected:
    void UseTarget(const std::string& mode, const std::string& faults = {}) {
        UseBus(Bus({Target(GUID, mode), R"({"kind": "device"})"}, faults));
        program->Write("app.twd", Package(IMAGE, CONFIG));
        program->Write("other.twd", Package(CONFIG, IMAGE));
    }
    // What the call changed, and how it ended: "reset run: done application".
    std::string Outcome(std::vector<std::string> arguments) {
        for (std::string& argument : arguments)
            if (argument.ends_with(".twd"))
                argument = program->directory.file(argument);
        const std::size_t before = program->RequestsSent().size();
        record = Record(arguments);
        EXPECT_EQ(record["flash"], arguments.front() == "load" ? "identical" : "unchanged");
        return fmt::format("{}: {} {}", program->Changes(before), record["verdict"].get<std::string>(),
                           record["mode"].is_string() ? record["mode"].get<std::string>() : "-");
    }
    cli::Json record;
};

TEST_F(DeviceCommandsTest, VerifyComparesWhatThePackageHoldsAndWritesNothing) {
    UseTarget("bootloader");
    ASSERT_TRUE(Outcome({"load", "app.twd"}).ends_with("done bootloader"));
    EXPECT_EQ(Outcome({"verify", "app.twd"}), "crc crc: done bootloader");
    EXPECT_EQ(record["steps"][0]["packageCrc"], record["steps"][0]["deviceCrc"]);
    EXPECT_EQ(Outcome({"verify", "other.twd"}), "crc crc: differs bootloader");
    EXPECT_EQ(Outcome({"verify", "app.twd", "--only", "config"}), "crc: done bootloader");
    EXPECT_EQ(Outcome({"verify", "app.twd", "--as", "debugger"}), "crc: differs bootloader");
    EXPECT_EQ(Outcome({"verify", "missing.twd"}), ": refused -");
    EXPECT_EQ(Outcome({"reset", "--into", "application"}), "reset: done application");
    EXPECT_EQ(Outcome({"verify", "app.twd"}), ": unchanged application");
    EXPECT_NE(record["reason"].dump().find("--reset"), std::string::npos);
    EXPECT_EQ(Outcome({"verify", "app.twd", "--reset"}), "reset crc crc run: done application");
    EXPECT_EQ(Outcome({"verify", "other.twd", "--reset"}), "reset crc crc run: differs application");
}

TEST_F(DeviceCommandsTest, CrcTellsEachImageWithTheDevicesVerdict) {
    struct Case {
        const char *fault, *outcome;
    };
    const Case cases[] = {{"", "crc crc crc crc: done bootloader"},
                          {R"({"command": 3, "skip": 1, "do": "badCrc"})", "crc crc crc crc: differs bootloader"},
                          {R"({"command": 3, "skip": 3, "do": "silence"})", "crc crc crc crc: unchanged bootloader"},
                          // What is certain counts more than what isn't known.
                          {R"({"command": 3, "do": "silence"}, {"command": 3, "skip": 1, "do": "badCrc"})",
                           "crc crc crc crc: differs bootloader"}};
    for (const Case& c : cases) {
        UseTarget("bootloader", c.fault);
        ASSERT_EQ(Call({"load", program->directory.file("app.twd")}), 0);
        EXPECT_EQ(Outcome({"crc"}), c.outcome) << c.fault;
        EXPECT_EQ(record["answer"]["images"].size(), 4U);
    }
    UseTarget("application", R"({"command": 17, "skip": 2, "count": 9, "do": "silence"})");
    EXPECT_EQ(Outcome({"crc", "--reset"}), "reset crc crc crc crc run: differs application") << "it has no config";
    ASSERT_EQ(Call({"load", program->directory.file("app.twd")}), 0);
    EXPECT_EQ(Outcome({"crc"}), ": unchanged application");
    EXPECT_EQ(Outcome({"crc", "--reset"}), "reset crc crc crc crc run run run: failed bootloader")
        << "it ran its application";
}

TEST_F(DeviceCommandsTest, ResetIsDoneOnceTheDeviceIsBackInThatMode) {
    struct Case {
        const char *mode, *into, *fault, *outcome;
    };
    const Case cases[] = {
        {"application", "bootloader", "", "reset: done bootloader"},
        {"bootloader", "application", "", "reset: done application"},
        {"bootloader", "bootloader", "", "reset: done bootloader"},
        {"application", "application", "", "reset: done application"},
        {"application", "bootloader", R"({"command": 2, "do": "silence"})", "reset: failed application"},
        {"bootloader", "bootloader", R"({"command": 2, "do": "silence"})", "reset: failed bootloader"},
        {"bootloader", "application", R"({"node": 0, "do": "vanish"})", "reset: failed unknown"}};
    for (const Case& c : cases) {
        UseTarget(c.mode, c.fault);
        EXPECT_EQ(Outcome({"reset", "--into", c.into}), c.outcome) << c.mode << " " << c.into << " " << c.fault;
    }
    EXPECT_EQ(Outcome({"reset"}), ": usage -");
}

TEST_F(DeviceCommandsTest, InfoDecodesWhatIsKnownAndDisturbsNothing) {
    const char* versions = R"(, "application": {"id": "0x1234", "version": "0x01020304", "date": "20020831"},
        "bootloader": {"version": "0x01000101"}, "debugger": {"version": "0x00FFFFFF"}, "hardwareVersion": "0x02000001")";
    UseBus(Bus({Target(GUID, "bootloader", versions)}));
    EXPECT_EQ(Outcome({"info"}), "crc crc crc crc: done bootloader");
    const cli::Json& answer = record["answer"];
    EXPECT_EQ(answer["application"]["version"], "1.2.3.4");
    EXPECT_EQ(answer["application"]["id"], "0x1234");
    EXPECT_EQ(answer["bootloader"]["version"], "1.0.1.1");
    EXPECT_EQ(answer["debugger"]["version"], "private build");
    EXPECT_EQ(answer["registers"]["guid"], GUID);
    EXPECT_EQ(answer["registers"]["hardware"], 17);
    EXPECT_EQ(answer["registers"]["hardwareVersion"], "2.0.0.1");
    EXPECT_EQ(answer["rom"]["model"], "TX-9");
    EXPECT_EQ(answer["crcs"][0]["verdict"], "good");
    UseBus(Bus({Target(GUID, "application", versions)}));
    EXPECT_EQ(Outcome({"info"}), ": done application");
    EXPECT_TRUE(record["answer"]["crcs"].is_null());
    EXPECT_EQ(Call({"info"}), 0);
    EXPECT_NE(out.find("not available while the application runs"), std::string::npos) << out;
}

TEST_F(DeviceCommandsTest, LeaveADeviceAloneThatAnotherProgramLoads) {
    UseTarget("bootloader");
    ASSERT_EQ(Call({"load", program->directory.file("app.twd")}), 0);
    AnotherProgram other;
    ASSERT_TRUE(other.Takes(0x000F1B0000000001));
    for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
             {"crc"}, {"verify", "app.twd"}, {"reset", "--into", "application"}, {"bus-reset"}})
        EXPECT_TRUE(Outcome(arguments).starts_with(": unchanged ")) << arguments.front();
    EXPECT_EQ(Outcome({"info"}), ": done bootloader");
    other.Releases(0x000F1B0000000001);
    EXPECT_TRUE(Outcome({"crc"}).ends_with("done bootloader"));
}

} // namespace

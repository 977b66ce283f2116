// hoistline load: what it does to a device, what it refuses, and whether its verdict is true.
#include "AnotherProgram.h"
#include "CommandTest.h"
#include "EndRequest.h"
#include "PackageBuilder.h"

#include <algorithm>
#include <filesystem>

using namespace testing_support;

namespace {

const ByteArray OLD{}, IMAGE = Pattern(2500), CONFIG = Pattern(700);
constexpr const char* GUID = "000F1B0000000001";

class LoadTest : public CommandTest {
protected:
    void UseTarget(const std::string& mode, const std::string& faults = {}) {
        UseBus(Bus({Target(GUID, mode), R"({"kind": "device"})"}, faults));
        program->Write("app.twd", Package(IMAGE, CONFIG));
    }
    std::string Path(const std::string& name) const { return program->directory.file(name); }
    // What the call changed, and how it ended: "start block*3 end: done identical bootloader".
    std::string Load(const std::string& package, const std::vector<std::string>& options = {}) {
        const std::size_t before = program->RequestsSent().size();
        std::vector<std::string> arguments{"load", Path(package)};
        arguments.insert(arguments.end(), options.begin(), options.end());
        record = Record(arguments);
        std::string text = program->Changes(before) + ":";
        for (const char* member : {"verdict", "flash", "mode"})
            text += record[member].is_string() ? " " + record[member].get<std::string>() : " -";
        return text;
    }
    cli::Json record;
};

TEST_F(LoadTest, DoesToADeviceWhatItsOptionsSay) {
    struct Case {
        const char* mode;
        std::vector<std::string> options;
        const char* outcome;
    };
    const Case cases[] = {
        {"application", {}, "reset start block*3 end start block end defaults run: done identical application"},
        {"application", {"--no-start"}, "reset start block*3 end start block end defaults: done identical bootloader"},
        {"bootloader", {}, "start block*3 end start block end defaults: done identical bootloader"},
        {"application", {"--only", "application"}, "reset start block*3 end run: done identical application"},
        {"bootloader", {"--only", "config"}, "start block end defaults: done identical bootloader"},
        {"bootloader", {"--as", "bootloader"}, "start block*3 end: done identical bootloader"},
        {"application", {"--dry-run"}, ": done unchanged application"},
        {"bootloader", {"--dry-run", "--as", "debugger"}, ": done unchanged bootloader"}};
    for (const Case& c : cases) {
        UseTarget(c.mode);
        EXPECT_EQ(Load("app.twd", c.options), c.outcome) << c.mode << fmt::format(" {}", fmt::join(c.options, " "));
    }
    UseTarget("bootloader");
    EXPECT_EQ(Load("app.twd", {"--as", "debugger", GUID}), "start block*3 end: done identical bootloader");
    EXPECT_EQ(program->Flash(0, "debugger"), IMAGE);
    EXPECT_EQ(program->Flash(0, "application"), OLD);
}

TEST_F(LoadTest, ReportsEachImageWithItsBytesRateAndCrcs) {
    UseTarget("application");
    EXPECT_EQ(Call({"load", Path("app.twd")}), 0);
    EXPECT_EQ(out.find("IMAGE        BYTES  SECONDS  kB/s  CRC OF PACKAGE  CRC OF DEVICE  VERDICT\napplication  2500"),
              0U)
        << out;
    EXPECT_NE(error.find("hoistline load: done\n"), std::string::npos) << error;
    UseTarget("application");
    Load("app.twd");
    const cli::Json& step = record["steps"][1];
    EXPECT_EQ(step["subject"], "application");
    EXPECT_EQ(step["bytes"], 2500);
    EXPECT_EQ(step["packageCrc"], step["deviceCrc"]);
    EXPECT_NEAR(step["kBPerSecond"].get<double>(), 2.5 / step["seconds"].get<double>(), 0.01);
}

TEST_F(LoadTest, RefusesWhatDoesntFitBeforeItTouchesTheDevice) {
    PackageBuilder foreign, far, wrongCrc;
    foreign.image(0x20000000, IMAGE, 0x3FAD67E8).number(0x20, 18);
    far.image(0x20000000, IMAGE).number(0x38, 5000);
    wrongCrc.image(0x20000000, IMAGE, 0x12345678);
    UseTarget("application");
    program->Write("foreign.twd", foreign.bytes());
    program->Write("far.twd", far.bytes());
    program->Write("wrong-crc.twd", wrongCrc.bytes());
    program->Write("config.twd", Package({}, CONFIG));
    program->Write("empty.twd", Package({}));
    program->Write("garbage.twd", std::string(500, 'x'));
    struct Case {
        const char* package;
        std::vector<std::string> options;
        const char* reason;
    };
    const Case cases[] = {{"missing.twd", {}, "it doesn't exist"},
                          {"garbage.twd", {}, "it doesn't begin with a package header"},
                          {"far.twd", {}, "its Image1 reaches outside the file"},
                          {"foreign.twd", {}, "--override-hardware"},
                          {"empty.twd", {}, "neither an image nor configuration data"},
                          {"config.twd", {"--only", "application"}, "it contains no image"},
                          {"config.twd", {"--as", "debugger"}, "it contains no image"},
                          {"wrong-crc.twd", {"--only", "config"}, "it contains no configuration data"},
                          {"wrong-crc.twd", {}, "section image1 has the CRC"}};
    for (const Case& c : cases) {
        EXPECT_TRUE(Load(c.package, c.options).starts_with(": refused unchanged ")) << c.package << record;
        EXPECT_NE(record["reason"].get<std::string>().find(c.reason), std::string::npos) << record["reason"];
    }
    EXPECT_EQ(Load("foreign.twd", {"--dry-run"}), ": refused unchanged application");
    EXPECT_EQ(Load("foreign.twd", {"--override-hardware", "--dry-run"}), ": done unchanged application");
    EXPECT_EQ(Load("app.twd", {"--only", "config", "--as", "debugger"}), ": usage unchanged -");
    // A device may use another CRC than CRC-32.
    EXPECT_EQ(Call({"load", Path("wrong-crc.twd"), "--dry-run", "--override-crc"}), 0);
    EXPECT_NE(error.find("the package says 0x12345678"), std::string::npos) << error;
}

TEST_F(LoadTest, SaysWhatAFailureMeansForTheDevice) {
    struct Case {
        const char *mode, *fault, *outcome;
    };
    const Case cases[] = {
        {"application", R"({"command": 6, "do": "badCrc"})", "reset start block*3 end: damaged damaged bootloader"},
        {"application", R"({"command": 6, "skip": 1, "do": "badCrc"})",
         "reset start block*3 end start block end: damaged damaged bootloader"},
        {"bootloader", R"({"command": 4, "result": 121})", "start: damaged unknown bootloader"},
        // The application is good, but it has the old configuration.
        {"bootloader", R"({"command": 4, "skip": 1, "do": "silence"})",
         "start block*3 end start: damaged damaged bootloader"},
        {"application", R"({"node": 0, "do": "vanish"})", "reset: unchanged unchanged unknown"},
        {"application", R"({"command": 2, "count": 2, "do": "silence"})",
         "reset reset reset start block*3 end start block end defaults run: done identical application"},
        {"application", R"({"command": 2, "count": 9, "do": "silence"})",
         "reset reset reset reset reset: unchanged unchanged application"},
        {"application", R"({"command": 17, "do": "silence"})",
         "reset start block*3 end start block end defaults run run: done identical application"},
        {"application", R"({"command": 17, "count": 9, "do": "silence"})",
         "reset start block*3 end start block end defaults run run run: failed identical bootloader"}};
    for (const Case& c : cases) {
        UseTarget(c.mode, c.fault);
        EXPECT_EQ(Load("app.twd"), c.outcome) << c.fault << record["reason"];
    }
}

TEST_F(LoadTest, IsDamagedWithTheFirstImageAlone) {
    UseTarget("application");
    program->windowSystem.eachTurn = [this] {
        if (program->Changes().find("block") != std::string::npos)
            std::filesystem::remove(Path("app.twd"));
    };
    EXPECT_EQ(Load("app.twd"), "reset start block*3 end: damaged damaged bootloader");
    program->windowSystem.eachTurn = nullptr;
    EXPECT_EQ(record["steps"][1]["outcome"], "done");
    EXPECT_EQ(record["steps"][2]["outcome"], "refused");
}

TEST_F(LoadTest, LeavesADeviceAloneThatAnotherProgramLoads) {
    UseTarget("application");
    AnotherProgram other;
    ASSERT_TRUE(other.Takes(0x000F1B0000000001));
    EXPECT_EQ(Load("app.twd"), ": unchanged unchanged application");
    EXPECT_EQ(Load("app.twd", {"--dry-run"}), ": unchanged unchanged application");
    other.Releases(0x000F1B0000000001);
    EXPECT_TRUE(Load("app.twd").ends_with(": done identical application"));
    EXPECT_TRUE(other.CouldTake(0x000F1B0000000001)) << "the lock outlives the load";
}

TEST_F(LoadTest, StartsTheApplicationAgainWhenNothingWasErased) {
    for (const bool noStart : {false, true}) {
        UseTarget("application");
        program->windowSystem.eachTurn = [this] {
            if (!program->RequestsSent().empty())
                std::filesystem::remove(Path("app.twd"));
        };
        EXPECT_EQ(Load("app.twd", noStart ? std::vector<std::string>{"--no-start"} : std::vector<std::string>{}),
                  noStart ? "reset: refused unchanged bootloader" : "reset run: refused unchanged application");
        program->windowSystem.eachTurn = nullptr;
    }
}

// A full disk or a reader that has gone is no reason to leave a device in its bootloader.
TEST_F(LoadTest, OutputThatCannotBeWrittenStopsNoWorkOnADevice) {
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{"load", "app.twd"}, "reset start block*3 end start block end defaults run"},
        {{"verify", "app.twd", "--reset"}, "reset crc crc run"},
        {{"identity", "--mac", "00-0F-1B-AA-BB-CC"}, "reset mac(0f000000ccbbaa1b) run"}};
    UseTarget("application");
    for (const auto& [arguments, changes] : cases) {
        std::vector<std::string> call = arguments;
        std::ranges::replace(call, "app.twd", Path("app.twd"));
        const std::size_t before = program->RequestsSent().size();
        outputWorks = false;
        EXPECT_EQ(Call(call), 1);
        outputWorks = true;
        EXPECT_EQ(program->Changes(before), changes);
        EXPECT_NE(error.find(": failed: Standard output can't be written."), std::string::npos) << error;
        EXPECT_EQ(Record({"info"})["mode"], "application") << changes;
    }
}

} // namespace

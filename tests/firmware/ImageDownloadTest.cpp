// The loading of a section: the requests to the target, the messages to the user.
#include "ImageDownload.h"
#include "AnotherProgram.h"
#include "HeadlessProgram.h"
#include "PackageBuilder.h"
#include "WindowSystem.h"
#include "basApp.h"
#include "basBootloader.h"

#include <gtest/gtest.h>

#include <map>

using namespace testing_support;
using namespace basBootloader;

namespace {

constexpr std::uint32_t ADDRESS = 0x20000000;

class ImageDownload : public testing::Test {
protected:
    void Start(const std::string& moreOfTheTarget = {}, const std::string& faults = {}) {
        program.reset(); // it ends before another begins
        program =
            std::make_unique<HeadlessProgram>(Bus({Target("000F1B0000000001", "bootloader", moreOfTheTarget)}, faults));
        program->Run("", 3000);
        basApp::globals.PerformUnattendedOperations = true;
    }
    std::int32_t Load(const ByteArray& package, std::int32_t type = 0) {
        program->Write("app.twd", package);
        const std::size_t before = program->RequestsSent().size();
        const std::int32_t result =
            DownloadImage(globals.TargetList.at(0).Handle, type, program->directory.file("app.twd"), progress).Result;
        EXPECT_FALSE(basApp::globals.DownloadInProgress);
        requests = program->RequestsSent();
        requests.erase(requests.begin(), requests.begin() + static_cast<std::ptrdiff_t>(before));
        return result;
    }
    // Of each block: number, address, size.
    std::string Blocks() const {
        std::string blocks;
        for (const std::string& request : requests)
            if (request.starts_with("0503"))
                blocks += request.substr(4, 2) + ":" + request.substr(12, 8) + "+" + request.substr(20, 4) + " ";
        return blocks;
    }
    std::unique_ptr<HeadlessProgram> program;
    ProgressFunction progress;
    std::vector<std::string> requests; // of the load, from the command code on, in hex
};

TEST_F(ImageDownload, CutsTheSectionIntoBlocksThatSuitBothSides) {
    const std::tuple<std::uint32_t, std::uint32_t, std::uint32_t, const char*> rows[] = {
        {2500, ADDRESS, 4096, "00:00000020+0004 01:00040020+0004 02:00080020+c401 "},
        {5, ADDRESS, 3, "00:00000020+0300 01:03000020+0200 "},
        {2048, 0x7FFFFC00, 1024, "00:00fcff7f+0004 01:00000080+0004 "},
    };
    for (const auto& [size, address, offered, blocks] : rows) {
        SCOPED_TRACE(size);
        Start(fmt::format(R"(, "maxBlockSize": {})", offered));
        Load(PackageBuilder().image(address, Pattern(size)).bytes());
        EXPECT_EQ(Blocks(), blocks);
        EXPECT_EQ(program->Flash(0, "application"), Pattern(size));
    }
}

TEST_F(ImageDownload, AnnouncesWhatThePackageSays) {
    Start();
    EXPECT_EQ(Load(PackageBuilder().image(ADDRESS, Pattern(16), 0xCAFEBABE).bytes(), 3), -1) << "not its CRC";
    const std::string dateAndTime = "32303032303833313135323530337a7a", idAndVersion = "3412000004030201";
    EXPECT_EQ(requests.front(), "040a03000000" + dateAndTime + idAndVersion + "0000002010000000bebafeca");
}

TEST_F(ImageDownload, PutsConfigurationDataAtAFixedAddressAndReportsRateAndProgress) {
    std::string steps;
    Start(R"(, "eraseMs": 0, "checkMs": 0)");
    progress = [&](const LoadProgress& at) {
        steps += fmt::format("{}:{}/{} ", static_cast<int>(at.step), at.bytes, at.length);
        EXPECT_EQ(at.handle, globals.TargetList.at(0).Handle);
        EXPECT_EQ(at.guid[7], 1);
        EXPECT_EQ(at.imageType, 1);
    };
    EXPECT_EQ(Load(Package({}, Pattern(1500)), 1), 1);
    EXPECT_EQ(Blocks(), "00:00001a20+0004 01:00041a20+dc01 ");
    EXPECT_EQ(steps, "0:0/0 1:0/1500 2:1024/1500 2:1500/1500 3:1500/1500 4:1500/1500 ");
    EXPECT_TRUE(program->Said("onto target at 36.59 kB/sec.")); // four answers of 10 ms, ten transactions of 125 us
}

TEST_F(ImageDownload, ReportsErasingAndCheckingForAsLongAsTheyTake) {
    std::map<LoadProgress::Step, int> reports;
    Start(R"(, "eraseMs": 2000, "checkMs": 1000)");
    progress = [&](const LoadProgress& at) { ++reports[at.step]; };
    EXPECT_EQ(Load(Package(Pattern(16)), 0), 1);
    EXPECT_NEAR(reports[LoadProgress::Step::Erasing], 20, 3) << "one at each poll";
    EXPECT_NEAR(reports[LoadProgress::Step::Checking], 10, 2);
}

TEST_F(ImageDownload, SucceedsOnlyWhenTheTargetTookEveryStep) {
    const struct {
        const char *faults, *sent, *text; // sent: the command codes, each block's with a letter for its number
        const char* moreOfTheTarget = "";
    } rows[] = {
        {"", "04 05a 05b 06", "Successfully loaded new ", R"(, "eraseMs": 39000, "checkMs": 69000)"},
        {"", "04 05a 05b 06", "Download end command failed while loading '", R"(, "checkMs": 71000)"},
        {R"({"command": 5, "count": 2, "status": -3}, {"command": 5, "skip": 3, "count": 2, "status": -5})",
         "04 05a 05a 05a 05b 05b 05b 06", "Successfully loaded new "},
        {R"({"command": 5, "skip": 1, "count": 3, "status": -3})", "04 05a 05b 05b 05b 06",
         "basBootloader.DownloadBlock returned code -3 after 3 retries.  Aborting operation."},
        {R"({"command": 6, "do": "badCrc"})", "04 05a 05b 06", "CRC failure in Image Load process (CRC=0x"},
        {R"({"command": 6, "do": "silence"})", "04 05a 05b 06", "Download end command failed while loading '"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        Start(row.moreOfTheTarget, row.faults);
        const bool loaded = Load(Package(Pattern(2048))) == 1;
        std::string sent;
        for (const std::string& request : requests) {
            sent += (sent.empty() ? "" : " ") + request.substr(0, 2);
            if (request.starts_with("05"))
                sent += static_cast<char>('a' + request[5] - '0');
        }
        EXPECT_EQ(sent, row.sent);
        EXPECT_TRUE(program->Said(row.text));
        EXPECT_EQ(program->Said("Successfully loaded new "), loaded);
        EXPECT_EQ(program->Said("Load new Application Image operation failed."), !loaded);
    }
}

TEST_F(ImageDownload, TakesTheDeviceForItselfOrLeavesItAlone) {
    constexpr std::int64_t GUID = 0x000F1B0000000001;
    Start(R"(, "eraseMs": 0, "checkMs": 0)");
    AnotherProgram other;
    ASSERT_TRUE(other.Takes(GUID));
    program->Write("app.twd", Package(Pattern(2048)));
    const std::int32_t handle = globals.TargetList.at(0).Handle;
    const std::size_t sent = program->RequestsSent().size();
    const basApp::StepVerdict verdict = DownloadImage(handle, 0, program->directory.file("app.twd"));
    const std::string reason = "The device 000F1B0000000001 is being loaded by another program.  Nothing was loaded.";
    EXPECT_EQ(verdict.Reason, reason);
    EXPECT_EQ(verdict.Outcome, basApp::OutcomeKind::Unchanged);
    EXPECT_EQ(verdict.Flash, basApp::FlashState::Unchanged);
    EXPECT_EQ(std::ranges::count(program->messages, reason, &testing_support::Message::text), 1);
    EXPECT_EQ(program->RequestsSent().size(), sent);
    EXPECT_TRUE(program->WrittenTo("0xffffc8021040").empty());

    other.Releases(GUID);
    std::string free; // for another program, at each step
    progress = [&](const LoadProgress& at) { free += fmt::format("{}{} ", int(at.step), other.CouldTake(GUID)); };
    EXPECT_EQ(Load(Package(Pattern(2048))), 1);
    EXPECT_EQ(free, "0true 1false 2false 2false 3false 4false ");
    EXPECT_TRUE(other.CouldTake(GUID));
}

TEST_F(ImageDownload, OfAnotherProgramHoldsBackTheHaltOfAllNodes) {
    program =
        std::make_unique<HeadlessProgram>(Bus({Target("000F1B0000000001", "bootloader"),
                                               Target("000F1B0000000002", "application", R"(, "announce": true)")}));
    program->Run("", 3000);
    AnotherProgram other;
    ASSERT_EQ(ResetDevice(globals.TargetList.at(1).Handle, RESET_INTO_BOOTLOADER), 1);
    ASSERT_TRUE(other.Takes(0x000F1B0000000001));
    program->messages.clear();
    program->Pass(3000);
    EXPECT_TRUE(program->Said("Incoming Data Message received"));
    EXPECT_FALSE(program->Said("Broadcasted halt command."));
    other.Releases(0x000F1B0000000001);
    program->Pass(100);
    EXPECT_TRUE(program->Said("Broadcasted halt command."));
}

// While the first device erases, a second one without a GUID comes up in its bootloader, with bus resets and an
// announcement.
TEST_F(ImageDownload, LosesNothingThatHappensDuringTheErase) {
    program =
        std::make_unique<HeadlessProgram>(Bus({Target("000F1B0000000001", "bootloader"),
                                               Target("0000000000000000", "application", R"(, "announce": true)")}));
    program->Run("", 3000);
    program->messages.clear();
    ASSERT_EQ(ResetDevice(globals.TargetList.at(1).Handle, RESET_INTO_BOOTLOADER), 1);
    globals.TargetList[0].DebugGUID.assign(8, 0); // as if it had to be set
    std::int32_t size = 0;
    const CommandProgress turns{{}, {}, platform::DoEvents};
    EXPECT_EQ(DownloadStart(globals.TargetList[0].Handle, {.Length = 16}, size, 40000, &turns), 1);
    EXPECT_FALSE(program->Said("Broadcasted halt command.")) << "although a request awaits its answer";
    EXPECT_NE(globals.TargetList[1].DebugGUID, ByteArray(8)) << "skipped because of the first one";
    basApp::globals.DownloadInProgress = true; // the blocks would follow
    program->Pass(1000);
    EXPECT_EQ(globals.TargetList[0].DebugGUID, ByteArray(8)) << "disturbed in the middle of its load";
    basApp::globals.DownloadInProgress = false;
    program->Pass(3000);
    EXPECT_TRUE(program->Said("Broadcasted halt command."));
    EXPECT_EQ(globals.TargetList[0].DebugGUID, (ByteArray{0, 0x0F, 0x1B, 0, 0, 0, 0, 1}))
        << "discovery wasn't repeated";
    EXPECT_EQ(std::ranges::count(program->messages, LEVEL_ERROR, &testing_support::Message::level), 0);
}

TEST_F(ImageDownload, LeavesTheTargetAloneWhenThereIsNothingToLoad) {
    const std::tuple<PackageBuilder, std::int32_t, const char*> rows[] = {
        {PackageBuilder().cne(Pattern(8)), 0, "' contains no image.  Exiting..."},
        {PackageBuilder().image(ADDRESS, Pattern(8)), 1, "' contains no CNE.  Exiting..."},
        {PackageBuilder().number(0x58, 0x80000000), 1, "DownloadImage (CNE): '"},
        {PackageBuilder().image(ADDRESS, Pattern(8)), 4, "DownloadImage Error: unknown ImageType '4'"},
        {PackageBuilder().text(0, "tWld"), 0, "Load Application Image failed: could not load TWD file '"},
    };
    Start();
    for (const auto& [package, type, text] : rows) {
        EXPECT_EQ(Load(package.bytes(), type), -1);
        EXPECT_TRUE(program->Said(text)) << text;
        EXPECT_TRUE(requests.empty()) << text;
    }
}

TEST_F(ImageDownload, SendsNothingOfAPackageThatReachesOutsideItsFile) {
    // Where the fields of a section begin, its offset, its length; no text for a whole package.
    const std::tuple<std::uint32_t, std::uint32_t, std::uint32_t, const char*> rows[] = {
        {0x30, 352, 2048, ""},
        {0x40, 0xFFFFFFFF, 0x80000000, ""}, // not there
        {0x30, 352, 2049, "Failed to copy 0x1 byte block at address 0x960 in file '"},
        {0x30, 352 + 4, 2148, "Failed to copy 0x400 byte block at address 0x564 in file '"},
        {0x40, 352 + 2048, 4, "Failed to copy 0x4 byte block at address 0x960 in file '"},
        {0x50, 0xFFFFFFFF, 4, "Failed to copy 0x4 byte block at address 0xFFFFFFFF in file '"},
        {0x30, 0x7FFFFFFF, 0x04000000, "0x400 byte block at address 0x7FFFFFFF in file '"},
    };
    Start();
    for (const auto& [section, offset, length, text] : rows) {
        SCOPED_TRACE(text);
        PackageBuilder package;
        package.image(ADDRESS, Pattern(2048)).number(section, offset).number(section + 8, length);
        program->messages.clear();
        Load(package.bytes());
        EXPECT_EQ(requests.empty(), *text != 0);
        EXPECT_TRUE(program->Said(text));
        EXPECT_EQ(program->messages.back().text, "Load new Application Image operation failed.");
        EXPECT_NE(program->Said("Loading new "), *text != 0);
    }
}

TEST_F(ImageDownload, RefusesHardwareThatThePackageIsNotMeantForUnlessOverridden) {
    Start();
    const ByteArray package = PackageBuilder().image(ADDRESS, Pattern(4)).number(0x20, 18).bytes();
    for (const bool overridden : {false, true}) {
        basApp::globals.OverrideHardwareCompatibility = overridden;
        Load(package);
        EXPECT_EQ(requests.empty(), !overridden);
    }
    EXPECT_TRUE(program->dialogs.shown.empty());
    EXPECT_TRUE(program->Said("TWD Hardware ID = 18 (0x12)  Target Hardware ID = 17(0x11)"));
    basApp::globals.PerformUnattendedOperations = false;
    for (const char* answer : {"no", "yes"}) {
        program->dialogs.answers = {answer};
        Load(package);
        EXPECT_EQ(requests.empty(), *answer == 'n');
        EXPECT_TRUE(program->dialogs.shown.back().text.starts_with(
            "The selected TWD file indicates hardware compatibility with Model ID 18.  \r\n"
            "The selected hardware indicates a Model ID of 17.  \r\n"));
    }
}

} // namespace

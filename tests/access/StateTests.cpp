// The state directory is used again by the next run; damage is reported and survived.
#include "SimulatedBus.h"

#include <fcntl.h>
#include <memory>
#include <sys/file.h>
#include <unistd.h>

namespace {

class State : public SimulatedBus {
protected:
    void DescribeAgain() { Describe(description); }
    void Load(const std::string& image) {
        const auto size = static_cast<uint32_t>(image.size());
        const uint32_t crc = Crc32({image.begin(), image.end()});
        Answer(0, 1, DOWNLOAD_START, 10,
               Words({0, 0x34323032, 0x39323230, 0x35353332, 0x20203835, 0x77, 0x01000203, 0, size, crc}));
        Write(0, REQUEST_BUFFER, Bytes(image.begin(), image.end()));
        Answer(0, 1, DOWNLOAD_BLOCK, 3, Words({0, 0, size}));
        EXPECT_EQ(Little(Answer(0, 1, DOWNLOAD_END, 0), 4), 0u);
    }
    const TestFolder scratch;
    const std::string directory = "state/000F1B0000000001/";
    const std::string description =
        OneTarget(R"("mode": "bootloader", "eraseMs": 0, "checkMs": 0, "keys": {"A": "old"})",
                  R"(, "stateDirectory": ")" + scratch.file("state") + '"');
};

TEST_F(State, FlashIdentityKeysAndModeSurviveARun) {
    DescribeAgain();
    Load("new firmware");
    Answer(0, 1, PROGRAM_GUID, 2, {0x00, 0x1B, 0x0F, 0x00, 9, 0, 0, 0});
    Answer(0, 1, SET_DEBUG_GUID, 2, {1, 2, 3, 4, 5, 6, 7, 8});
    Write(0, REQUEST_BUFFER, Bytes(128, 'v'));
    Answer(0, 1, WRITE_KEY, 5, Words({2, 0, 3, 0}, "A"));
    Command(0, 1, RESET, 1, {0});
    PassMs(5); // resetting into the application when the run ends
    EXPECT_EQ(scratch.Content(directory + "application.bin"), "new firmware");

    DescribeAgain();
    EXPECT_TRUE(text.empty()) << text;
    const Bytes registers = Get(0, INFO_REGISTERS, 104);
    EXPECT_EQ(Little(registers, 12), 0u);
    EXPECT_EQ(registers[20], 9);
    EXPECT_EQ(std::string(registers.begin() + 32, registers.begin() + 48), "20240229235558  ");
    EXPECT_EQ(Little(registers, 48), 0x77u);
    EXPECT_EQ(Little(registers, 52), 0x01000203u);
    EXPECT_EQ(Get(0, ROM + 16, 4), (Bytes{0, 0, 0, 9}));
    uint8_t content[20];
    EXPECT_EQ(SimulatorSection(0, "application", content, 20), 12);
    Command(0, 1, RESET, 1, {1});
    PassMs(700);
    EXPECT_EQ(Answer(0, 1, READ_CRC, 1, Bytes(4, 0)), Words({Crc32(Bytes(content, content + 12)), 0}));
    EXPECT_EQ(Answer(0, 1, GET_DEBUG_GUID, 0), (Bytes{1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(Little(Answer(0, 1, READ_KEY, 4, Words({2, 0, 0}, "A")), 4), 3u);
    EXPECT_EQ(Get(0, RESPONSE_BUFFER, 4)[0], 'v');
}

TEST_F(State, ARunThatEndsBetweenEraseAndEndLeavesNoStartableImage) {
    DescribeAgain();
    Load("new firmware");
    Answer(0, 1, DOWNLOAD_START, 10, Bytes(40, 0));
    DescribeAgain();
    EXPECT_EQ(Answer(0, 1, START_IMAGE, 1, Bytes(4, 0)), Bytes(4, 0xFF));
}

TEST_F(State, NoPlantedLinkIsFollowedAndALeftoverDraftIsRemoved) {
    DescribeAgain();
    Load("old firmware");
    const std::string folder = scratch.path() + "/" + directory, draft = folder + "application.bin.new";
    ASSERT_EQ(chmod((folder + "identity.json").c_str(), 0640), 0);
    scratch.Put("victim", "untouched");
    scratch.Put(directory + "keys.json.new1", "half");
    for (const char* others : {"notes.new", "notes.txt.new1", "keys.json.new"})
        scratch.Put(directory + others, "kept");
    ASSERT_EQ(symlink((scratch.path() + "/victim").c_str(), (draft + std::to_string(getpid())).c_str()), 0);
    DescribeAgain();
    Load("new firmware");
    EXPECT_EQ(scratch.Content("victim"), "untouched");
    EXPECT_EQ(scratch.Content(directory + "application.bin"), "new firmware");
    EXPECT_NE(access((folder + "keys.json.new1").c_str(), F_OK), 0);
    for (const char* others : {"notes.new", "notes.txt.new1", "keys.json.new"})
        EXPECT_EQ(scratch.Content(directory + others), "kept");
    EXPECT_EQ(scratch.Status(directory + "identity.json").st_mode & 0777, 0640u);

    const std::string sink = scratch.path() + "/sink"; // like /dev/stdout: the system's, not ours to replace
    ASSERT_EQ(symlink("/dev/null", sink.c_str()), 0);
    Describe(OneTarget("", R"(, "trace": ")" + sink + '"'));
    EXPECT_NE(text.find("can't write the trace"), std::string::npos) << text;
    EXPECT_TRUE(std::filesystem::is_symlink(sink));
}

// A second opening of the lock file stands for another process.
class OtherProcess {
public:
    explicit OtherProcess(const std::string& file) : file_(open(file.c_str(), O_RDWR)) {}
    ~OtherProcess() { close(file_); }
    bool Takes() const { return flock(file_, LOCK_EX | LOCK_NB) == 0; }

private:
    int file_;
};

TEST_F(State, BelongsToOneProcessAtATime) {
    DescribeAgain();
    Load("new firmware");
    auto other = std::make_unique<OtherProcess>(scratch.file("state/lock"));
    EXPECT_FALSE(other->Takes());
    EXPECT_EQ(scratch.Content("state/lock"), std::to_string(getpid()));
    DescribeAgain(); // gives back its own lock first
    Describe(OneTarget(""));
    EXPECT_TRUE(other->Takes());

    scratch.Put("state/lock", "4711");
    const auto deviceCount = [] {
        Twl1394VirtualDeviceList list;
        GetVirtualDeviceList(&list);
        return list.DeviceCount;
    };
    Twl1394VirtualDevice driver{1, 0, 0, "1394_VIRTUAL_DEVICE"};
    const std::string reason = "the state directory '" + scratch.file("state") +
                               "' is in use by another program (process 4711); there is no bus until it ends";
    EXPECT_EQ(SimulatorDescribe(description.c_str(), nullptr), -1);
    EXPECT_EQ(SimulatorLastError(), reason);
    EXPECT_EQ(deviceCount(), 0u);
    EXPECT_NE(AddVirtualDriver(&client, &driver, 0), 0);
    EXPECT_EQ(deviceCount(), 0u);
    EXPECT_EQ(text, "simulated bus: " + reason + "\r\n") << "once";
    EXPECT_EQ(scratch.Content("state/lock"), "4711");

    other.reset();
    EXPECT_EQ(deviceCount(), 1u);
    uint8_t content[20];
    EXPECT_EQ(SimulatorSection(0, "application", content, 20), 12);
}

TEST_F(State, StaysInMemoryWhereItsDirectoryCanNotBeLocked) {
    std::filesystem::create_directories(scratch.file("state/lock"));
    DescribeAgain();
    EXPECT_NE(text.find("can't write to '" + scratch.file("state") + "'"), std::string::npos) << text;
    Load("new firmware");
    EXPECT_FALSE(std::filesystem::exists(scratch.file(directory)));
}

TEST_F(State, ADamagedFileIsReportedAndSurvived) {
    const std::tuple<const char*, const char*, const char*> rows[] = {
        {"identity.json", "{\"guid\"", "identity.json: /: no JSON"},
        {"identity.json", "{\"guid\": \"12\"}", "identity.json: /guid: must be 16 hex digits"},
        {"keys.json", "{\"A\": 7}", "keys.json: /A: must be a text"},
        {"application.bin", "new firmwarX", "the section counts as erased"}};
    for (const auto& [file, content, report] : rows) {
        DescribeAgain();
        Load("new firmware");
        scratch.Put(directory + file, content);
        text.clear();
        DescribeAgain();
        EXPECT_NE(text.find(report), std::string::npos) << file << ": " << text;
        EXPECT_EQ(NodeCount(), 2);
        EXPECT_EQ(Answer(0, 1, START_IMAGE, 1, Bytes(4, 0)) == Bytes(4, 0xFF), std::string(file) == "application.bin");
    }
}

TEST_F(State, TwoTargetsWithTheSameGuidHaveTheirOwnFlash) {
    const std::string target = R"({"kind": "target", "guid": "000F1B0000000001", "mode": "bootloader", "eraseMs": 0})";
    Describe(R"({"stateDirectory": ")" + scratch.path() + R"(/state", "nodes": [)" + target + "," + target + "]}");
    Answer(1, 1, DOWNLOAD_START, 10, Bytes(40, 0));
    EXPECT_TRUE(std::filesystem::exists(scratch.path() + "/state/000F1B0000000001-2/identity.json"));
    EXPECT_FALSE(std::filesystem::exists(scratch.path() + "/state/000F1B0000000001/identity.json"));
}

} // namespace

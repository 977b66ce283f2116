// The program with devices that do no more than required: the layers below the windows on a simulated bus.
#include "HeadlessProgram.h"
#include "LibrarySeam.h"
#include "basBootloader.h"

#include <gtest/gtest.h>

using namespace testing_support;
using namespace basBootloader;

namespace {

class StrictDevice : public testing::Test {
protected:
    void Start(const std::vector<std::string>& nodes) {
        program.reset();
        program = std::make_unique<HeadlessProgram>(Bus(nodes));
        program->Run("", 3000);
        program->messages.clear();
        handle = globals.TargetList.front().Handle;
    }
    std::int32_t Type(const std::string& text) { return WriteShellCharacters(handle, {text.begin(), text.end()}); }
    std::string Console() {
        ByteArray data;
        EXPECT_EQ(ReadShellCharacters(handle, data, false), 1);
        return {data.begin(), data.end()};
    }
    std::unique_ptr<HeadlessProgram> program;
    std::int32_t handle = 0;
};

std::string OfProtocol(const char* protocol, const char* mode = "application") {
    return fmt::format(R"({{"kind": "target", "guid": "000F1B0000000001", "mode": "{}", "protocol": {}}})", mode,
                       protocol);
}

TEST_F(StrictDevice, ReceivesEveryByteOfAnArrowKeyInEachProtocol) {
    for (const char* protocol : {"1", "2", "33554432", "3"}) {
        SCOPED_TRACE(protocol);
        Start({OfProtocol(protocol)});
        Console();
        for (const char* byte : {"\x1B", "[", "A"})
            EXPECT_EQ(Type(byte), 1);
        program->Pass(100);
        EXPECT_EQ(Console(), "\x1B[A");
    }
}

TEST_F(StrictDevice, HasItsLossReportedWhereACountReadsAsZero) {
    Start({OfProtocol("3")});
    Console();
    EXPECT_EQ(Type("flood 100\r"), 1); // more than the 256 that the device keeps
    EXPECT_EQ(Console(), std::string(1, '\0'));
    EXPECT_EQ(program->lostCharacters, 256);
    EXPECT_EQ(Type("x"), 1);
    EXPECT_EQ(Console(), "x") << "the console is dead";
}

TEST_F(StrictDevice, LearnsAKeysNameOnlyFromTheAnnouncedQuadlets) {
    Start({OfProtocol("1", "bootloader")});
    for (const std::size_t length : {4u, 5u, 36u, 37u, 40u, 41u, 100u}) {
        SCOPED_TRACE(length);
        const std::string name(length, 'n'), value(200, 'v');
        ByteArray data;
        EXPECT_EQ(WriteKey(handle, name, {value.begin(), value.end()}), 1);
        EXPECT_EQ(ReadKey(handle, name, data), length <= 40 ? 1 : -1);
        EXPECT_EQ(std::string(data.begin(), data.end()), length <= 40 ? value + '\0' : "");
    }
    EXPECT_TRUE(program->Said("ReadKey: size of key data for key '"));
}

TEST_F(StrictDevice, UnderTheDebuggerIsRecognizedByItsLateAnswer) {
    Start({R"({"kind": "debugger"})", R"({"kind": "device"})"});
    for (const std::int16_t node : {std::int16_t(0), std::int16_t(1)}) {
        Device device; // a node with a minimal ROM isn't kept in the table
        MakePresent(device, node);
        device.ConfigRom.RawData = {1, 0, 0x0A, 0x27, 0};
        EXPECT_EQ(CheckForDebugger(device), node == 0);
    }
    EXPECT_TRUE(program->Said("Debugger is running on node #0"));
}

} // namespace

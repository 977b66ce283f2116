// What device files tell, over the fake kernel.
#include "DeviceProbe.h"
#include "FakeKernel.h"

#include <gtest/gtest.h>

#include <cerrno>

using namespace testing_support;

namespace {

class DeviceProbeTest : public testing::Test {
protected:
    DeviceProbeTest() {
        kernel.Add("fw0", {.number = 1, .local = true});
        kernel.topology = {0, 5, 0, 0, 0, 0, 0, 0, 0, 2, 0, 3};
        for (const std::uint8_t packet : {0x80, 0x80, 0x81}) // node 0 in two packets
            kernel.topology.insert(kernel.topology.end(), {packet, 0x7F, 0x80, 0});
        kernel.closing = [this] { ++closed; };
    }

    FakeKernel kernel;
    int opened = 0, closed = 0;
    const doctor::DeviceCalls calls{[this](const std::string& path) {
                                        const int descriptor = kernel.Open(path);
                                        opened += descriptor >= 0 ? 1 : 0;
                                        return descriptor;
                                    },
                                    [this](int descriptor, unsigned long request, void* argument) {
                                        return kernel.Control(descriptor, request, argument);
                                    },
                                    [this](int descriptor) { kernel.Close(descriptor); }};
};

TEST_F(DeviceProbeTest, ReadsTheFactsAndLeavesNothingOpen) {
    const doctor::FileFacts facts = doctor::ProbeFile(calls, "/dev/fw0");
    EXPECT_EQ(facts.Error, 0);
    EXPECT_EQ(facts.Version, 5U);
    EXPECT_EQ(facts.Speed, 1);
    kernel.SetErrors("fw0", EACCES);
    EXPECT_EQ(doctor::ProbeFile(calls, "/dev/fw0").Error, EACCES);
    EXPECT_EQ(doctor::TryRange(calls, "/dev/fw0", 0xFFFFC8029000, 64), EACCES);
    EXPECT_TRUE(doctor::ReadSelfIds(calls, "/dev/fw0").empty());
    EXPECT_EQ(opened, 1);
    EXPECT_EQ(closed, 1);
}

TEST_F(DeviceProbeTest, TriesExactlyTheRangeAndKeepsNothing) {
    std::uint64_t first = 0, end = 0;
    int error = 0;
    kernel.allocate = [&](std::uint64_t address, std::uint64_t regionEnd) {
        first = address, end = regionEnd;
        return error;
    };
    EXPECT_EQ(doctor::TryRange(calls, "/dev/fw0", 0xFFFFC8029000, 64), 0);
    EXPECT_EQ(first, 0xFFFFC8029000U);
    EXPECT_EQ(end, 0xFFFFC8029040U);
    error = EBUSY;
    EXPECT_EQ(doctor::TryRange(calls, "/dev/fw0", 0xFFFFC8029000, 64), EBUSY);
    EXPECT_EQ(closed, 2);
}

TEST_F(DeviceProbeTest, ReadsAllSelfIdPacketsOfTheRegister) {
    const std::vector<std::uint32_t> packets = {0x807F8000, 0x807F8000, 0x817F8000};
    EXPECT_EQ(doctor::ReadSelfIds(calls, "/dev/fw0"), packets);
    kernel.topology[10] = 0xFF; // more than the register holds
    EXPECT_EQ(doctor::ReadSelfIds(calls, "/dev/fw0").size(), (1024U - 12U) / 4U);
    kernel.SetErrors("fw0", 0, EIO);
    EXPECT_TRUE(doctor::ReadSelfIds(calls, "/dev/fw0").empty());
    EXPECT_EQ(closed, 3);
    EXPECT_TRUE(kernel.sent.empty()) << "nothing goes to a device";
}

} // namespace

// What the device window shows of a bus, and what stays selected.
#include "WindowTest.h"

namespace testing_support {

namespace {

using DeviceWindow = WindowTest;
using Texts = std::vector<std::string>;

constexpr const char* DEFAULT_BUS_NODES = R"({"kind": "debugger"})";

TEST_F(DeviceWindow, ShowsEveryNodeWithItsState) {
    Start(
        Bus({Target("000F1B0000000001", "application"), Target("000F1B0000000002", "bootloader"), DEFAULT_BUS_NODES}));
    ASSERT_EQ(form().mfgDevices->rowCount(), 3);
    EXPECT_EQ(Cells(0)[deviceRows::STATE], "App Running");
    EXPECT_EQ(Cells(1)[deviceRows::STATE], "Bootloader Running");
    EXPECT_EQ(Cells(2)[deviceRows::STATE], "Local PC Node");
}

} // namespace

} // namespace testing_support

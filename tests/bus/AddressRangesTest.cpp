// Addresses as text, and ranges on this computer.
#include "ScriptedLibrary.h"

#include <cstring>

using namespace testing_support;
using namespace bas1394;

namespace {

using Texts = std::vector<std::string>;

class AddressRanges : public LibraryTest {
protected:
    AddressRanges() {
        basApp::hooks.writeStatusFileLine = [this](std::string_view line) { statusFile.emplace_back(line); };
    }
    Texts statusFile;
};

TEST_F(AddressRanges, TakeAnAddressFromItsText) {
    const struct {
        const char* text;
        std::int32_t result;
        Address1394 address;
        std::size_t complaints;
    } rows[] = {
        {"0xffffc8029000", 1, {0xFFFF, 0xC8029000}, 0}, {"FFFF C802 9000", 1, {0xFFFF, 0xC8029000}, 0},
        {"0xC8029000", 1, {0, 0xC8029000}, 0},          {"0x1234567", 1, {0, 0x1234567}, 0},
        {"0x0", 1, {0, 0}, 0},                          {"&HFF", 1, {0, 0xFF}, 1},
        {"where", 1, {0, 0}, 1},                        {"0x1FFFFC8029000", -1, {1, 1}, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        statusFile.clear();
        Address1394 address{1, 1};
        EXPECT_EQ(StringToAddress(row.text, address), row.result);
        EXPECT_EQ(address, row.address);
        EXPECT_EQ(statusFile.size(), row.complaints);
    }
}

TEST_F(AddressRanges, ComplainOfATextThatIsNoAddress) {
    Address1394 address;
    StringToAddress("where", address);
    EXPECT_EQ(statusFile, Texts{"What are you trying to do with the address: where?  Try again!  Use '0x' for Hex!"});
    basApp::globals.PerformUnattendedOperations = true;
    platform::Attempt([&] { StringToAddress("where", address); },
                      [](const platform::Failure& f) {
                          EXPECT_EQ(f.Number, 14592);
                          EXPECT_EQ(f.Source, "basUtils");
                      });
    EXPECT_EQ(statusFile.size(), 1u);
}

TEST_F(AddressRanges, CrossToTheLibraryAsARecordOf552Bytes) {
    EXPECT_EQ(Allocate1394Memory("0xffffc8029000", "0x40"), 1);
    ASSERT_EQ(library.ranges.size(), 1u);
    ByteArray wire(552);
    ASSERT_EQ(sizeof library.ranges[0], wire.size());
    std::memcpy(wire.data(), &library.ranges[0], wire.size());
    ByteArray expected = {1,  0, 0, 0, 1, 0, 0, 0, 0x40, 0, 0, 0, 0,    0,    0, 0,
                          11, 0, 0, 0, 3, 0, 0, 0, 0xFF, 0xFF, 0, 0, 0x00, 0x90, 0x02, 0xC8};
    expected.resize(552);
    EXPECT_EQ(wire, expected);
}

TEST_F(AddressRanges, AreKeptOneByOneAndFreedTogether) {
    EXPECT_EQ(Allocate1394Memory("0x1000", "64"), 1);
    EXPECT_EQ(Allocate1394Memory("0x2000", "0x10"), 1);
    library.rangeResult = 5;
    EXPECT_EQ(Allocate1394Memory("0x3000", "64"), -1);
    EXPECT_EQ(Allocate1394Memory("0x1FFFF00000000", "64"), -1);
    EXPECT_EQ(log, Texts{"11 ERROR: Failed to convert address in Allocate1394Memory.  Exiting abnormally"});
    ASSERT_EQ(globals.AddressRanges.size(), 2u);
    EXPECT_EQ(globals.AddressRanges[1].Length, 16u);
    EXPECT_TRUE(RangeAllocatedAt({0, 0x2000}));
    EXPECT_FALSE(RangeAllocatedAt({0, 0x3000}));
    FreeAllRanges();
    FreeAllRanges();
    EXPECT_EQ(library.operations, (Texts{"FreeAddressRange 1", "FreeAddressRange 2"}));
}

TEST_F(AddressRanges, LeaveTheFirstSlotFreeAfterAFailure) {
    library.rangeResult = 5;
    EXPECT_EQ(Allocate1394Memory("0x1000", "64"), -1);
    ASSERT_EQ(globals.AddressRanges.size(), 1u);
    EXPECT_EQ(globals.AddressRanges[0].RangeHandle, 0u);
}

} // namespace

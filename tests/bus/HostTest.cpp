// This computer on the bus: address ranges, topology map, driver.
#include "ScriptedLibrary.h"

#include <cstring>
#include <tuple>

using namespace testing_support;
using namespace bas1394;

namespace {

using Host = LibraryTest;

TEST_F(Host, ParsesAddresses) {
    std::size_t complaints = 0;
    basApp::hooks.writeStatusFileLine = [&](std::string_view) { ++complaints; };
    using Row = std::tuple<const char*, std::int32_t, Address1394>;
    for (const auto& [text, result, expected] :
         {Row{"0xffffc8029000", 1, {0xFFFF, 0xC8029000}}, Row{"FFFF C802 9000", 1, {0xFFFF, 0xC8029000}},
          Row{"0xC8029000", 1, {0, 0xC8029000}}, Row{"0x1234567", 1, {0, 0x1234567}},
          Row{"0x1FFFFC8029000", -1, {1, 1}}}) {
        Address1394 address{1, 1};
        EXPECT_EQ(StringToAddress(text, address), result) << text;
        EXPECT_EQ(address, expected) << text;
    }
    EXPECT_EQ(complaints, 0u);
    Address1394 address;
    EXPECT_EQ(StringToAddress("where", address), 1);
    EXPECT_EQ(complaints, 1u);
    basApp::globals.PerformUnattendedOperations = true;
    EXPECT_THROW(std::ignore = StringToAddress("where", address), platform::Failure);
}

TEST_F(Host, PassesARangeAsARecordOf552Bytes) {
    EXPECT_EQ(Allocate1394Memory("0xffffc8029000", "0x40"), 1);
    ByteArray wire(552), expected = {1,  0, 0, 0, 1, 0, 0, 0, 0x40, 0,    0, 0, 0,    0,    0,    0,
                                     11, 0, 0, 0, 3, 0, 0, 0, 0xFF, 0xFF, 0, 0, 0x00, 0x90, 0x02, 0xC8};
    expected.resize(552);
    ASSERT_EQ(sizeof library.ranges.at(0), wire.size());
    std::memcpy(wire.data(), &library.ranges[0], wire.size());
    EXPECT_EQ(wire, expected);
}

TEST_F(Host, KeepsEachRangeAndFreesThemWithTheLibrary) {
    library.rangeResult = 5;
    EXPECT_EQ(Allocate1394Memory("0x1000", "64"), -1);
    EXPECT_EQ(globals.AddressRanges.at(0).RangeHandle, 0u);
    library.rangeResult = 0;
    EXPECT_EQ(Allocate1394Memory("0x1000", "64"), 1);
    EXPECT_EQ(Allocate1394Memory("0x2000", "0x10"), 1);
    library.rangeResult = 5;
    EXPECT_EQ(Allocate1394Memory("0x3000", "64"), -1);
    EXPECT_EQ(Allocate1394Memory("0x1FFFF00000000", "64"), -1);
    EXPECT_EQ(log, Texts{"11 ERROR: Failed to convert address in Allocate1394Memory.  Exiting abnormally"});
    ASSERT_EQ(globals.AddressRanges.size(), 2u);
    EXPECT_TRUE(RangeAllocatedAt({0, 0x2000}) && !RangeAllocatedAt({0, 0x3000}));
    UnloadTwl1394Dll();
    UnloadTwl1394Dll();
    EXPECT_EQ(library.operations, (Texts{"FreeAddressRange 2", "FreeAddressRange 3", "DeRegisterClient"}));
}

TEST_F(Host, DecodesEachFieldOfASelfId) {
    const auto fields = [](std::initializer_list<std::uint8_t> packet) {
        const SelfId id = DecodeSelfId(packet.begin());
        return std::vector<int>{id.PhysId,         id.PacketId,  id.GapCount, id.LinkActive, id.Zero,
                                id.PowerClass,     id.Contender, id.Delay,    id.Speed,      id.MorePackets,
                                id.InitiatedReset, id.Port3,     id.Port2,    id.Port1};
    };
    EXPECT_EQ(fields({0x85, 0x7F, 0x8E, 0xE6}), (std::vector<int>{5, 2, 63, 1, 0, 6, 1, 0, 2, 0, 1, 1, 2, 3}));
    EXPECT_EQ(fields({0x3F, 0xC1, 0x31, 0x19}), (std::vector<int>{63, 0, 1, 1, 1, 1, 0, 3, 0, 1, 0, 2, 1, 0}));
}

TEST_F(Host, CountsTheNodesOfATopologyMap) {
    const std::tuple<std::vector<std::uint32_t>, std::size_t, std::vector<int>, std::size_t> rows[] = {
        {{0x80000001, 0x80900000, 0x81000000}, 2, {0, 1}, 0}, // an extended packet is skipped
        {{}, 0, {0}, 0},
        {{}, 0xFF00, {0}, 0}, // a negative count
        {{}, 200, std::vector<int>(63), 1},
    };
    for (const auto& [packets, count, expected, warnings] : rows) {
        SCOPED_TRACE(count);
        log.clear();
        library.SetTopology(packets, count);
        TopologyMap map;
        EXPECT_EQ(GetTopologyMap(map), 1);
        std::vector<int> physIds;
        for (const SelfId& id : map.SelfIds)
            physIds.push_back(id.PhysId);
        EXPECT_EQ(physIds, expected);
        EXPECT_EQ(CountLogged("7 "), warnings);
    }
}

TEST_F(Host, StartsTheDriverWhenThereIsNoVirtualDevice) {
    library.deviceCount = 0;
    const std::int64_t start = clock.Now();
    EXPECT_EQ(GetVirtualDevices(), 0); // still the previous list
    EXPECT_EQ(clock.Now() - start, 500'000'000);
    EXPECT_EQ(windowSystem.turns, 0);
    EXPECT_EQ(GetVirtualDevices(), 1);
    EXPECT_EQ(GetVirtualDevices(), 1);
    EXPECT_EQ(library.operations, Texts{"AddVirtualDriver 1394_VIRTUAL_DEVICE"});
    std::erase_if(log, [](const std::string& line) { return line.starts_with("5 "); });
    EXPECT_EQ(
        log,
        (Texts{"13 BusResetHandlerThread: unable to load 1394 virtual device driver.  No interface to the bus!",
               "13 BusResetHandlerThread: 1394 virtual device driver loaded on retry.", "9 Virtual Device #0=device"}));
}

} // namespace

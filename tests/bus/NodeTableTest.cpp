// The self-ID, the topology map, this computer and its driver.
#include "ScriptedLibrary.h"

using namespace testing_support;
using namespace bas1394;

namespace {

using Texts = std::vector<std::string>;

class NodeTable : public LibraryTest {};

TEST_F(NodeTable, DecodesEachFieldOfASelfId) {
    const auto fields = [](const SelfId& id) {
        return std::vector<int>{id.PhysId,    id.PacketId, id.GapCount, id.LinkActive,  id.Zero,
                                id.PowerClass, id.Contender, id.Delay,   id.Speed,       id.MorePackets,
                                id.InitiatedReset, id.Port3, id.Port2, id.Port1};
    };
    const struct {
        std::uint8_t packet[4];
        std::vector<int> fields;
    } rows[] = {
        {{0x85, 0x7F, 0x8E, 0xE6}, {5, 2, 63, 1, 0, 6, 1, 0, 2, 0, 1, 1, 2, 3}},
        {{0x3F, 0xC1, 0x31, 0x19}, {63, 0, 1, 1, 1, 1, 0, 3, 0, 1, 0, 2, 1, 0}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(fields(DecodeSelfId(row.packet)), row.fields);
}

TEST_F(NodeTable, CountsTheNodesOfATopologyMap) {
    const struct {
        const char* name;
        std::vector<std::uint32_t> packets;
        int count;
        std::vector<int> physIds;
        std::size_t warnings;
    } rows[] = {
        {"one packet a node", {0x80000000, 0x81000000}, 2, {0, 1}, 0},
        {"an extended packet is skipped", {0x80000001, 0x80900000, 0x81000000}, 2, {0, 1}, 0},
        {"a bus that says nothing has one node", {}, 0, {0}, 0},
        {"a negative count", {}, 0xFF00, {0}, 0},
        {"more nodes than a bus holds", {}, 200, std::vector<int>(63), 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        log.clear();
        library.SetTopology(row.packets, row.count);
        TopologyMap map;
        EXPECT_EQ(GetTopologyMap(map), 1);
        std::vector<int> physIds;
        for (const SelfId& id : map.SelfIds)
            physIds.push_back(id.PhysId);
        EXPECT_EQ(physIds, row.physIds);
        EXPECT_EQ(CountLogged("7 "), row.warnings);
    }
}

TEST_F(NodeTable, TakesNodeAndBusNumberOfThisComputer) {
    library.nodeAddress = 0xFFC5;
    EXPECT_EQ(GetLocalHostNode(), 5);
    EXPECT_EQ(GetBusNumber(), 1023);
    library.hostResult = 87;
    EXPECT_EQ(GetLocalHostNode(), -1);
    EXPECT_EQ(GetBusNumber(), -1);
    EXPECT_EQ(log, (Texts{"5 LocalHostNode = 5", "5 Bus Number = 1023",
                          "7 GetLocalHostNode failed, Get1394AddressFromDeviceObject returned code 87",
                          "7 GetBusNumber failed, Get1394AddressFromDeviceObject returned code 87"}));
}

TEST_F(NodeTable, FindsARecordByDriverAndNumber) {
    EXPECT_EQ(FindDevice("vdev", 5).NodeNum, 5);
    EXPECT_EQ(FindDevice("vhpd", 5).NodeNum, 128);
    EXPECT_EQ(FindDevice("vdev", 4).NodeNum, 128);
}

TEST_F(NodeTable, StartsTheDriverWhenThereIsNoVirtualDevice) {
    library.deviceCount = 0;
    library.onAddVirtualDriver = [this] { library.deviceCount = 1; };
    const std::int64_t start = clock.Now();
    int timersStarted = 0;
    hooks.startBusTimers = [&] { ++timersStarted; };
    EXPECT_EQ(GetVirtualDevices(), 0);
    EXPECT_EQ(clock.Now() - start, 500'000'000);
    EXPECT_EQ(windowSystem.turns, 0);
    EXPECT_EQ(GetVirtualDevices(), 1);
    EXPECT_EQ(GetVirtualDevices(), 1);
    EXPECT_EQ(timersStarted, 1);
    EXPECT_EQ(library.operations, Texts{"AddVirtualDriver 1394_VIRTUAL_DEVICE"});
    const std::string found = "5 BusResetHandlerThread: 1 virtual devices found and 0 diagnostic devices.";
    EXPECT_EQ(log,
              (Texts{"13 BusResetHandlerThread: unable to load 1394 virtual device driver.  No interface to the bus!",
                     "5 BusResetHandlerThread: 0 virtual devices found and 0 diagnostic devices.",
                     "13 BusResetHandlerThread: 1394 virtual device driver loaded on retry.",
                     "9 Virtual Device #0=device\\0", found, found}));
}

} // namespace

// Topology, resets, configuration ROMs, address ranges.
#include "SimulatedBus.h"

namespace {

constexpr const char* MIXED = R"({"nodes": [
  {"kind": "target", "guid": "000F1B0000000001"},
  {"kind": "device", "guid": "00A0B00000000002", "vendor": "Maker", "model": "Cam"},
  {"kind": "off"},
  {"kind": "debugger", "vendor": "0x000A27"},
  {"kind": "host"}]})";

TEST_F(SimulatedBus, TheTopologyMapHoldsAValidSelfIdForEachNode) {
    Describe(MIXED);
    Twl1394HostInformation request{0, 6, 4096, {0xFFFF, 0, 0xF0001000}, 1024, {}};
    ASSERT_EQ(GetLocalHostInformation(&client, "1394_VIRTUAL_DEVICE", &request, 0), 0);
    const Bytes map(request.CsrData, request.CsrData + 32);
    EXPECT_EQ(map[0], 7); // quadlets: generation, counts, five self-IDs
    EXPECT_EQ(Bytes(map.begin() + 8, map.begin() + 12), (Bytes{5, 0, 5, 0}));
    // A chain: the first is a leaf, the last the root; the third has no active link.
    const Bytes selfIds = {0x80, 0x7F, 0x80, 0x94, 0x81, 0x7F, 0x80, 0xB4, 0x82, 0x3F,
                           0x80, 0xB4, 0x83, 0x7F, 0x80, 0xB4, 0x84, 0x7F, 0x88, 0x74};
    EXPECT_EQ(Bytes(map.begin() + 12, map.end()), selfIds);
    Twl1394NodeAddressRequest address{1, 0};
    ASSERT_EQ(Get1394AddressFromDeviceObject(&client, "1394_VIRTUAL_DEVICE", &address), 0);
    EXPECT_EQ(address.NodeAddress, 0xFFC4);
}

TEST_F(SimulatedBus, ARomImageIsAcceptedInBothByteOrders) {
    const TestFolder scratch;
    const std::string big = "\x04\x04\x12\x34"
                            "1394"
                            "Wxyz",
                      little = "\x34\x12\x04\x04"
                               "4931"
                               "zyxW";
    for (const std::string& image : {big, little}) {
        scratch.Put("rom.img", image);
        Describe(R"({"nodes": [{"kind": "device", "romImage": ")" + scratch.path() + R"(/rom.img"}]})");
        EXPECT_EQ(Get(0, ROM, 12), Bytes(big.begin(), big.end()));
        Bytes beyond;
        EXPECT_EQ(Read(0, ROM + 8, 8, beyond), TWL1394_ADDRESS_ERROR);
    }
}

TEST_F(SimulatedBus, ATransactionThatNoNodeSupportsIsABusError) {
    Describe(MIXED);
    const std::tuple<const char*, uint32_t, uint64_t, int32_t> rows[] = {
        {"no such node", 5, ROM, TWL1394_NODE_DID_NOT_RESPOND},
        {"no link", 2, ROM, TWL1394_NODE_DID_NOT_RESPOND},
        {"no registers", 1, INFO_REGISTERS, TWL1394_ADDRESS_ERROR},
        {"beyond the registers", 0, INFO_REGISTERS + 104, TWL1394_ADDRESS_ERROR},
        {"not on a quadlet", 1, ROM + 2, TWL1394_ADDRESS_ERROR},
        {"this computer without a ROM", 4, ROM, TWL1394_ADDRESS_ERROR},
        {"a broadcast can't be read", 63, ROM, TWL1394_NO_RESPONSE}};
    for (const auto& [name, node, address, result] : rows) {
        Bytes data;
        EXPECT_EQ(Read(node, address, 4, data), result) << name;
        EXPECT_EQ(data, (Bytes{0xEE, 0xEE, 0xEE, 0xEE})) << name;
    }
}

TEST_F(SimulatedBus, ATransactionTakesItsTimeAndEndsAtItsTimeOut) {
    Describe(OneTarget("", R"(, "transactionMicroseconds": 3000)"));
    const int64_t before = clock.Now();
    Get(0, INFO_REGISTERS, 12);
    EXPECT_EQ(clock.Now() - before, 3'000'000);
    const Twl1394Address address{0xFFFF, 0, 0xC8020000};
    uint8_t data[12];
    EXPECT_EQ(AsyncReadWrapper(0, &address, 12, data, 2), TWL1394_TIMED_OUT);
    EXPECT_EQ(clock.Now() - before, 5'000'000);
    EXPECT_EQ(QueryElapsedTimeMsLongInt(&before), 5u);
}

} // namespace

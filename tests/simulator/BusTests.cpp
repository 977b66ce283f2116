// Topology, resets, configuration ROMs, the node under the debugger, address ranges.
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

TEST_F(SimulatedBus, ALaterNodeMovesDownWhileOneIsUnplugged) {
    Describe(MIXED);
    EXPECT_EQ(Get(1, 0xFFFFF000040C, 4), (Bytes{0x00, 0xA0, 0xB0, 0x00}));
    SimulatorUnplug(0);
    EXPECT_EQ(NodeCount(), 4);
    EXPECT_EQ(Get(0, 0xFFFFF000040C, 4), (Bytes{0x00, 0xA0, 0xB0, 0x00}));
    SimulatorPlug(0);
    EXPECT_EQ(NodeCount(), 5);
    EXPECT_EQ(Get(0, 0xFFFFF000040C, 4), (Bytes{0x00, 0x0F, 0x1B, 0x00}));
    SimulatorUnplug(4); // this computer
    EXPECT_EQ(NodeCount(), 5);
    EXPECT_EQ(notices, (std::vector<uint32_t>{1326, 1326}));
}

// IEEE 1212: each block's CRC over its quadlets.
unsigned Crc(const Bytes& bytes, std::size_t from, std::size_t quadlets) {
    unsigned crc = 0;
    for (std::size_t quadlet = 0; quadlet < quadlets; ++quadlet) {
        for (int shift = 28; shift >= 0; shift -= 4) {
            const std::size_t at = from + quadlet * 4 + static_cast<std::size_t>(3 - shift / 8);
            const unsigned nibble = (shift % 8 == 4 ? bytes[at] >> 4 : bytes[at]) & 15u;
            const unsigned sum = (crc >> 12 ^ nibble) & 15;
            crc = (crc << 4 ^ sum << 12 ^ sum << 5 ^ sum) & 0xFFFF;
        }
    }
    return crc;
}

TEST_F(SimulatedBus, AGeneratedRomHoldsItsCrcsAndItsVendor) {
    Describe(MIXED);
    Bytes rom;
    Bytes quadlet;
    for (uint64_t address = 0xFFFFF0000400; Read(1, address, 4, quadlet) == 1; address += 4)
        rom.insert(rom.end(), quadlet.begin(), quadlet.end());
    EXPECT_EQ(Read(1, 0xFFFFF0000400 + rom.size(), 4, quadlet), static_cast<int32_t>(0x80000017));
    ASSERT_GT(rom.size(), 60u);
    EXPECT_EQ(Bytes(rom.begin(), rom.begin() + 2), (Bytes{4, 4}));
    EXPECT_EQ(Crc(rom, 4, 4), unsigned{rom[2]} << 8 | rom[3]);
    EXPECT_EQ(std::string(rom.begin() + 4, rom.begin() + 8), "1394");
    EXPECT_EQ(Bytes(rom.begin() + 12, rom.begin() + 20), (Bytes{0x00, 0xA0, 0xB0, 0, 0, 0, 0, 2}));
    EXPECT_EQ(Bytes(rom.begin() + 20, rom.begin() + 22), (Bytes{0, 7})); // the root directory's length
    EXPECT_EQ(Crc(rom, 24, 7), unsigned{rom[22]} << 8 | rom[23]);
    EXPECT_EQ(Bytes(rom.begin() + 24, rom.begin() + 28), (Bytes{0x03, 0x00, 0xA0, 0xB0}));
}

TEST_F(SimulatedBus, ARomImageIsTakenInBothByteOrders) {
    const ScratchDirectory scratch;
    const std::string big("\x04\x04\x12\x34"
                          "1394"
                          "\x20\x64\xA0\x12"
                          "\x00\x11\x22\x33"
                          "\x44\x55\x66\x77",
                          20);
    std::string little;
    for (std::size_t i = 0; i < big.size(); i += 4)
        little += {big[i + 3], big[i + 2], big[i + 1], big[i]};
    scratch.Put("big.img", big);
    scratch.Put("little.img", little);
    for (const std::string name : {"big.img", "little.img"}) {
        Describe(R"({"nodes": [{"kind": "device", "romImage": ")" + scratch.path() + "/" + name + R"("}]})");
        EXPECT_EQ(Get(0, 0xFFFFF0000400, 20), Bytes(big.begin(), big.end())) << name;
        Bytes beyond;
        EXPECT_EQ(Read(0, 0xFFFFF0000410, 8, beyond), static_cast<int32_t>(0x80000017));
    }
}

TEST_F(SimulatedBus, TheNodeUnderTheDebuggerAnswersItsHandshakeOnly) {
    Describe(MIXED);
    Bytes data;
    EXPECT_EQ(Get(3, 0xFFFFF0000400, 4), (Bytes{0x01, 0x00, 0x0A, 0x27}));
    EXPECT_EQ(Read(3, 0xFFFFC8010000, 8, data), static_cast<int32_t>(0x80000017));
    EXPECT_EQ(Write(3, 0xFFFFC8000000, {1, 1, 0, 0, 0x80, 0x80, 1, 0}), 1);
    const Bytes answer = Get(3, 0xFFFFC8010000, 8);
    EXPECT_EQ((Bytes{answer[0], answer[1], answer[3], answer[4], answer[5], answer[6], answer[7]}),
              (Bytes{1, 1, 0, 0x80, 0x80, 1, 0}));
}

TEST_F(SimulatedBus, WhatNoNodeOffersIsTheBussOwnError) {
    Describe(MIXED);
    const struct {
        const char* name;
        uint32_t node;
        uint64_t address;
        int32_t result;
    } rows[] = {{"no such node", 5, 0xFFFFF0000400, 121},
                {"no link", 2, 0xFFFFF0000400, 121},
                {"no registers", 1, 0xFFFFC8020000, static_cast<int32_t>(0x80000017)},
                {"behind the registers", 0, 0xFFFFC8020068, static_cast<int32_t>(0x80000017)},
                {"not on a quadlet", 1, 0xFFFFF0000402, static_cast<int32_t>(0x80000017)},
                {"this computer without a ROM", 4, 0xFFFFF0000400, static_cast<int32_t>(0x80000017)},
                {"a broadcast can't be read", 63, 0xFFFFF0000400, static_cast<int32_t>(0x8000013D)}};
    for (const auto& row : rows) {
        Bytes data;
        EXPECT_EQ(Read(row.node, row.address, 4, data), row.result) << row.name;
        EXPECT_EQ(data, (Bytes{0xEE, 0xEE, 0xEE, 0xEE})) << row.name;
    }
}

TEST_F(SimulatedBus, ATransactionTakesItsTimeAndEndsAtItsTimeOut) {
    Describe(OneTarget("", R"(, "transactionMicroseconds": 3000)"));
    const int64_t before = clock.Now();
    Get(0, 0xFFFFC8020000, 12);
    EXPECT_EQ(clock.Now() - before, 3'000'000);
    const Twl1394Address address{0xFFFF, 0, 0xC8020000};
    uint8_t data[12];
    EXPECT_EQ(AsyncReadWrapper(0, &address, 12, data, 2), static_cast<int32_t>(0x80000102));
    EXPECT_EQ(clock.Now() - before, 5'000'000);
    EXPECT_EQ(QueryElapsedTimeMsLongInt(&before), 5u);
}

TEST_F(SimulatedBus, AnAnnouncementReachesAnAllocatedRangeAndAHaltKeepsTheBootloader) {
    Describe(OneTarget(R"("announce": true, "rebootMs": 100)"));
    Twl1394AddressRange range{1, 1, 0x40, 0, 11, 3, {0xFFFF, 0, 0xC8029000}, 0, {}};
    ASSERT_EQ(AllocateAddressRange(&client, "1394_VIRTUAL_DEVICE", &range, 0), 0);
    for (const bool halted : {true, false}) {
        notices.clear();
        Command(0, 1, 2, 1, {1});
        PassMs(150);
        EXPECT_EQ(notices, (std::vector<uint32_t>{1326, 1326, 1327}));
        if (halted)
            Write(63, 0xFFFFC8021000, {1, 0, 0, 0, 9, 0, 1, 0});
        PassMs(6000);
        EXPECT_EQ(Little(Get(0, 0xFFFFC802000C, 4), 0) != 0, halted);
    }
}

TEST_F(SimulatedBus, TheDriverCanComeLate) {
    Describe(R"({"virtualDevice": false, "nodes": []})");
    Twl1394VirtualDeviceList list;
    GetVirtualDeviceList(&list);
    EXPECT_EQ(list.DeviceCount, 0u);
    const Twl1394VirtualDevice record{0, 0, 0, "1394_VIRTUAL_DEVICE"};
    EXPECT_EQ(AddVirtualDriver(&client, &record, 0), 0);
    GetVirtualDeviceList(&list);
    EXPECT_STREQ(list.Name[0], "1394_VIRTUAL_DEVICE");
}

} // namespace

// The pure parts: topology map, ROM of a target, records of the kernel.
#include "Events.h"
#include "Port.h"
#include "TopologyMap.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

#include <linux/firewire-cdev.h>

using namespace kernel_bus;

namespace {

Bytes BigEndian(const std::vector<std::uint32_t>& quadlets) {
    Bytes bytes;
    for (const std::uint32_t quadlet : quadlets)
        for (const int shift : {24, 16, 8, 0})
            bytes.push_back(static_cast<std::uint8_t>(quadlet >> shift));
    return bytes;
}

TEST(TopologyMap, HasOneOrTwoPacketsForEachNodeAndALittleEndianHeader) {
    constexpr std::uint32_t FIRST = 0x807F8080, MORE = 1, EXTENDED = 0x80800000, NODE = 1u << 24;
    const struct {
        const char* what;
        std::vector<std::uint32_t> packets, kept;
        std::uint8_t nodes;
    } rows[] = {
        {"one packet each", {FIRST, FIRST | NODE}, {FIRST, FIRST | NODE}, 2},
        {"an extended one", {FIRST | MORE, EXTENDED, FIRST | NODE}, {FIRST | MORE, EXTENDED, FIRST | NODE}, 2},
        {"two extended ones",
         {FIRST | MORE, EXTENDED | MORE, EXTENDED | 1u << 20, FIRST | NODE},
         {FIRST | MORE, EXTENDED | MORE, FIRST | NODE},
         2},
        {"more announced than come", {FIRST | MORE, FIRST | NODE}, {FIRST, FIRST | NODE}, 2},
        {"more than announced", {FIRST, EXTENDED}, {FIRST | MORE, EXTENDED}, 1},
        {"another node's", {FIRST | MORE, EXTENDED | NODE}, {FIRST}, 1},
        {"no self-ID", {FIRST, 0x12345678}, {FIRST}, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        std::vector<std::uint32_t> map = {0, 0x01020304, static_cast<std::uint32_t>(row.packets.size())};
        map.insert(map.end(), row.packets.begin(), row.packets.end());
        map.resize(256, FIRST); // beyond the count there may be anything
        const Bytes result = ConvertTopologyMap(BigEndian(map));
        const Bytes kept = BigEndian(row.kept);
        ASSERT_EQ(result.size(), 12 + kept.size());
        EXPECT_EQ(Bytes(result.begin() + 12, result.end()), kept);
        EXPECT_EQ(result[0], row.kept.size() + 2);
        EXPECT_EQ(Bytes(result.begin() + 4, result.begin() + 12), (Bytes{4, 3, 2, 1, row.nodes, 0, row.nodes, 0}));
    }
}

TEST(TopologyMap, HasACrc) {
    // CRC-16 of 00000001 00010001 807F8080, computed bit by bit.
    const Bytes input = BigEndian({1, 0x00010001, 0x807F8080});
    std::uint32_t crc = 0;
    for (std::size_t bit = 0; bit < input.size() * 8; ++bit) {
        const std::uint32_t in = input[bit / 8] >> (7 - bit % 8) & 1, top = crc >> 15 & 1;
        crc = (crc << 1 ^ (in != top ? 0x1021 : 0)) & 0xFFFF;
    }
    const Bytes result = ConvertTopologyMap(BigEndian({0, 1, 1, 0x807F8080}));
    EXPECT_EQ(result[2] | result[3] << 8, crc);
}

TEST(TopologyMap, WhatIsNoneIsEmpty) {
    EXPECT_EQ(ConvertTopologyMap({}), Bytes{});
    EXPECT_EQ(ConvertTopologyMap(Bytes(11)), Bytes{});
    EXPECT_EQ(ConvertTopologyMap(Bytes(1024)), Bytes{});
    EXPECT_EQ(ConvertTopologyMap(Bytes(1024, 0xFF)), Bytes{});
}

TEST(TargetRom, IsKnownByItsGuidOrItsVendor) {
    const std::vector<std::uint32_t> other = {0x04040000, 0x31333934, 0, 0x08004600, 1};
    const auto with = [&](std::vector<std::uint32_t> rest) {
        rest.insert(rest.begin(), other.begin(), other.end());
        return rest;
    };
    EXPECT_TRUE(IsTargetRom(std::vector<std::uint32_t>{0x04040000, 0x31333934, 0, 0x000F1B00, 1}));
    EXPECT_TRUE(IsTargetRom(with({0x00020000, 0x0C0083C0, 0x03000F1B})));
    EXPECT_FALSE(IsTargetRom(other));
    EXPECT_FALSE(IsTargetRom(with({0x00010000, 0x0C0083C0, 0x03000F1B}))) << "beyond the directory";
    EXPECT_FALSE(IsTargetRom(with({0xFFFF0000, 0x83000F1B}))) << "a leaf";
    EXPECT_FALSE(IsTargetRom(std::vector<std::uint32_t>{0xFF000000, 0, 0, 0, 0}));
    EXPECT_FALSE(IsTargetRom({}));
}

TEST(DeviceFile, HasANameOfItsOwn) {
    for (const char* name : {"fw0", "fw12"})
        EXPECT_TRUE(IsDeviceFile(name)) << name;
    for (const char* name : {"fw", "fwupd", "fw1x", "xfw1", "", "fw-1"})
        EXPECT_FALSE(IsDeviceFile(name)) << name;
}

// The data begin right after the length, within the padding of the structure.
TEST(KernelRecord, HasItsDataBeforeTheEndOfItsStructure) {
    static_assert(offsetof(fw_cdev_event_response, data) == 20 && sizeof(fw_cdev_event_response) == 24);
    static_assert(offsetof(fw_cdev_event_request2, data) == 48);
    fw_cdev_event_response event{};
    event.closure = 7;
    event.type = FW_CDEV_EVENT_RESPONSE;
    event.length = 8;
    Bytes record(28, 0);
    std::memcpy(record.data(), &event, sizeof event);
    for (std::uint8_t i = 0; i < 8; ++i)
        record[20 + i] = i;
    const Event whole = DecodeEvent(record);
    ASSERT_TRUE(std::holds_alternative<ResponseEvent>(whole));
    const ByteView data = std::get<ResponseEvent>(whole).data;
    EXPECT_EQ(Bytes(data.begin(), data.end()), (Bytes{0, 1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(std::get<ResponseEvent>(DecodeEvent(ByteView(record).first(22))).data.size(), 2U);
    EXPECT_TRUE(std::holds_alternative<std::monostate>(DecodeEvent(ByteView(record).first(19))));
}

} // namespace

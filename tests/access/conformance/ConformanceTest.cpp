// Each rule of Twl1394api.h as a case, on every library that has a bench.
#include "ConformanceBench.h"

#include <gtest/gtest.h>

#include <cstring>
#include <future>

using namespace testing_support;

namespace {

constexpr std::uint32_t TARGET = 0, CAMERA = 1, HOST = 2, ABSENT = 9;
const Bytes HALT = {1, 0, 0, 0, 1, 0, 1, 0};
constexpr std::uint64_t ROM = 0xFFFFF0000400, INFO = 0xFFFFC8020000, REQUEST = 0xFFFFC8021000,
                        REQUEST_BUFFER = 0xFFFFC8021040, RESPONSE = 0xFFFFC8029000, RESPONSE_BUFFER = 0xFFFFC8029040,
                        RANGE = RESPONSE, NOWHERE = 0xFFFFC0000000;

// A registered client on a fresh bench, with the topology read.
class Rig : public CallingClient {
public:
    explicit Rig(const BenchMaker& maker) : Rig(maker.make()) {}
    explicit Rig(std::unique_ptr<ConformanceBench> made) : CallingClient(made->Library()), bench(std::move(made)) {
        EXPECT_EQ(library.RegisterClient(client.Get()), 1);
        bench->Settle();
        EXPECT_TRUE(client.TakeNotices().empty()) << "nothing has happened yet";
        EXPECT_EQ(ReadTopology(map), 0);
        EXPECT_EQ(Write(TARGET, REQUEST, HALT), TWL1394_SUCCESS); // it would start its application after a while
        client.TakeNotices();
    }
    ~Rig() { library.DeRegisterClient(client.Get()); }

    std::int32_t Read(std::uint32_t node, std::uint64_t offset, Bytes& data, std::uint32_t timeout = 0) const {
        return ReadAt(offset, node, data, timeout);
    }
    std::int32_t Write(std::uint32_t node, std::uint64_t offset, const Bytes& data) const {
        return WriteAt(offset, node, data, 0);
    }
    std::size_t Count(std::uint32_t notice) {
        bench->Settle();
        return static_cast<std::size_t>(std::ranges::count(client.TakeNotices(), notice));
    }

    std::unique_ptr<ConformanceBench> bench;
    Bytes map; // topology
};

void VersionAndNames(Rig& rig) {
    EXPECT_EQ(rig.library.InterfaceVersion(), TWL1394_INTERFACE_VERSION);
    Twl1394VirtualDeviceList list;
    std::memset(&list, 0xEE, sizeof list);
    rig.library.GetVirtualDeviceList(&list);
    ASSERT_EQ(list.DeviceCount, 1U);
    EXPECT_STREQ(list.Name[0], rig.device);
    EXPECT_LE(std::strlen(list.Name[0]) + 1, 33U);
    EXPECT_EQ(rig.library.HookSystemModule("1394bootloader"), 1);
    const Twl1394VirtualDevice record{1, 0, 0, rig.device};
    EXPECT_EQ(rig.library.AddVirtualDriver(rig.client.Get(), &record, 0), 0);
    EXPECT_EQ(rig.Devices(), 1U);
}

void OneClientAtATime(Rig& rig) {
    KeepingClient other;
    EXPECT_NE(rig.library.RegisterClient(other.Get()), 1);
    EXPECT_NE(rig.library.RegisterClient(nullptr), 1);
    EXPECT_NE(rig.library.DeRegisterClient(other.Get()), 1);
    EXPECT_NE(rig.library.BusReset(other.Get(), rig.device, 0), 0);
    EXPECT_NE(rig.library.BusReset(rig.client.Get(), "another device", 0), 0);
    EXPECT_EQ(rig.library.DeRegisterClient(rig.client.Get()), 1);
    rig.bench->ResetBus();
    EXPECT_EQ(rig.Count(TWL1394_NOTICE_BUS_RESET), 0U) << "after the end of the client";
    Bytes data(4);
    EXPECT_EQ(rig.Read(TARGET, ROM, data), TWL1394_SHUTTING_DOWN);
    EXPECT_EQ(rig.library.RegisterClient(other.Get()), 1);
    EXPECT_EQ(rig.library.DeRegisterClient(other.Get()), 1);
    EXPECT_EQ(rig.library.RegisterClient(rig.client.Get()), 1) << "again and again";
}

void LocalAddress(Rig& rig) {
    Twl1394NodeAddressRequest request{1, 0};
    ASSERT_EQ(rig.library.Get1394AddressFromDeviceObject(rig.client.Get(), rig.device, &request), 0);
    EXPECT_EQ(request.NodeAddress & 0x3F, HOST);
    EXPECT_EQ(request.NodeAddress >> 6, 0x3FF) << "the local bus";
}

void TopologyMap(Rig& rig) {
    const Bytes& map = rig.map;
    EXPECT_EQ(map[8] | map[9] << 8, 3) << "nodes";
    EXPECT_EQ(map[10] | map[11] << 8, 3) << "self-IDs";
    EXPECT_GE((map[0] | map[1] << 8), 5) << "quadlets after the first";
    std::size_t at = 12;
    for (std::uint8_t node = 0; node < 3; ++node) {
        EXPECT_EQ(map[at], 0x80 | node);
        EXPECT_NE(map[at + 1] & 0x40, 0) << "its link is active";
        at += (map[at + 3] & 1) != 0 ? 8 : 4;
    }
    Bytes again;
    rig.bench->ResetBus();
    rig.bench->Settle();
    ASSERT_EQ(rig.ReadTopology(again), 0);
    EXPECT_NE(Bytes(again.begin() + 4, again.begin() + 8), Bytes(map.begin() + 4, map.begin() + 8)) << "generation";
    ASSERT_EQ(rig.ReadTopology(again, 16), 0);
    EXPECT_EQ(again[15 + 1], 0xEE) << "beyond the length";
    Twl1394HostInformation other{0, 1, 4096, {0xFFFF, 0, 0xF0001000}, 1024, {}};
    EXPECT_NE(rig.library.GetLocalHostInformation(rig.client.Get(), rig.device, &other, 0), 0);
    EXPECT_EQ(other.CsrData[8], 0) << "unchanged";
}

void ReadsAndWrites(Rig& rig) {
    Bytes rom(4), magic(8), answer(16);
    EXPECT_EQ(rig.Read(CAMERA, ROM + 4, rom), TWL1394_SUCCESS);
    EXPECT_EQ(rom, (Bytes{'1', '3', '9', '4'})) << "first byte on the wire first";
    EXPECT_EQ(rig.Read(TARGET, INFO, magic), TWL1394_SUCCESS);
    EXPECT_EQ(magic, (Bytes{'t', 'a', 'r', 'n', 'w', 'e', 'l', 'l'}));
    // The target stores a debug GUID, and hands it out again.
    EXPECT_EQ(rig.Write(TARGET, REQUEST, {1, 0, 0, 0, 7, 0, 14, 2, 1, 2, 3, 4, 5, 6, 7, 8}), TWL1394_SUCCESS);
    EXPECT_EQ(rig.Write(TARGET, REQUEST, {1, 0, 0, 0, 8, 0, 15, 0}), TWL1394_SUCCESS);
    EXPECT_EQ(rig.Read(TARGET, RESPONSE, answer), TWL1394_SUCCESS);
    EXPECT_EQ(answer, (Bytes{1, 0, 0, 0, 8, 0, 15, 2, 1, 2, 3, 4, 5, 6, 7, 8}));
    Bytes longest(TWL1394_MAX_PAYLOAD);
    EXPECT_EQ(rig.Write(TARGET, REQUEST_BUFFER, longest), TWL1394_SUCCESS);
    EXPECT_EQ(rig.Read(TARGET, RESPONSE_BUFFER, longest), TWL1394_SUCCESS);
}

void FailedTransactions(Rig& rig) {
    const struct {
        const char* what;
        std::uint32_t node;
        std::uint64_t address;
        std::int32_t read, written;
    } rows[] = {{"no such node", ABSENT, ROM, TWL1394_NODE_DID_NOT_RESPOND, TWL1394_NODE_DID_NOT_RESPOND},
                {"no such address", CAMERA, NOWHERE, TWL1394_ADDRESS_ERROR, TWL1394_ADDRESS_ERROR},
                {"all nodes", TWL1394_BROADCAST_NODE, NOWHERE, TWL1394_NO_RESPONSE, TWL1394_SUCCESS},
                {"no node at all", 64, ROM, TWL1394_NO_RESPONSE, TWL1394_NO_RESPONSE}};
    for (const auto& row : rows) {
        Bytes data(8, 0xEE);
        EXPECT_EQ(rig.Read(row.node, row.address, data), row.read) << row.what;
        EXPECT_EQ(data, Bytes(8, 0xEE)) << row.what;
        EXPECT_EQ(rig.Write(row.node, row.address, data), row.written) << row.what;
    }
    Bytes data(TWL1394_MAX_PAYLOAD + 4);
    const Twl1394Address at = Rig::Address(ROM);
    for (const std::uint32_t size : {0u, 2u, 6u, TWL1394_MAX_PAYLOAD + 4})
        EXPECT_EQ(rig.library.AsyncReadWrapper(CAMERA, &at, size, data.data(), 0), TWL1394_NO_RESPONSE) << size;
    EXPECT_EQ(rig.library.AsyncReadWrapper(CAMERA, nullptr, 4, data.data(), 0), TWL1394_NO_RESPONSE);
    EXPECT_EQ(rig.library.AsyncWriteWrapper(CAMERA, &at, 4, nullptr, 0), TWL1394_NO_RESPONSE);
}

void TimeOut(Rig& rig) {
    Bytes data(8, 0xEE);
    rig.bench->Silence();
    EXPECT_EQ(rig.Read(TARGET, INFO, data, 20), TWL1394_TIMED_OUT);
    EXPECT_EQ(data, Bytes(8, 0xEE));
    EXPECT_EQ(rig.Read(TARGET, INFO, data, 1000), TWL1394_SUCCESS) << "the next one";
}

void Broadcast(Rig& rig) {
    EXPECT_EQ(rig.Write(TWL1394_BROADCAST_NODE, REQUEST, HALT), TWL1394_SUCCESS);
    Bytes data(8);
    EXPECT_EQ(rig.Read(TARGET, INFO, data), TWL1394_SUCCESS);
}

void BusResets(Rig& rig) {
    rig.bench->ResetBus();
    EXPECT_EQ(rig.Count(TWL1394_NOTICE_BUS_RESET), 1U) << "from elsewhere";
    EXPECT_EQ(rig.library.BusReset(rig.client.Get(), rig.device, 0), 0);
    EXPECT_EQ(rig.Count(TWL1394_NOTICE_BUS_RESET), 1U) << "our own";
    ASSERT_EQ(rig.ReadTopology(rig.map), 0);
    Bytes data(8);
    EXPECT_EQ(rig.Read(TARGET, INFO, data), TWL1394_SUCCESS);
    rig.bench->ResetBus();
    const std::int32_t during = rig.Read(TARGET, INFO, data);
    EXPECT_TRUE(during == TWL1394_SUCCESS ||
                (during == TWL1394_BUS_RESET && rig.Read(TARGET, INFO, data) == TWL1394_SUCCESS))
        << "it can be repeated at once";
}

void NodesThatComeAndGo(Rig& rig) {
    Bytes data(8);
    rig.bench->Unplug(TARGET);
    EXPECT_GE(rig.Count(TWL1394_NOTICE_BUS_RESET), 1U);
    ASSERT_EQ(rig.ReadTopology(rig.map), 0);
    EXPECT_EQ(rig.map[8], 2) << "nodes";
    EXPECT_EQ(rig.Read(CAMERA + 1, ROM, data), TWL1394_NODE_DID_NOT_RESPOND);
    EXPECT_EQ(rig.Read(CAMERA - 1, ROM, data), TWL1394_SUCCESS) << "it has moved down";
    rig.bench->Plug(TARGET);
    EXPECT_GE(rig.Count(TWL1394_NOTICE_BUS_RESET), 1U);
    ASSERT_EQ(rig.ReadTopology(rig.map), 0);
    // Either it answers, or it is announced by another notice as soon as it does.
    rig.Read(TARGET, INFO, data);
    rig.bench->Settle();
    EXPECT_EQ(rig.Read(TARGET, INFO, data), TWL1394_SUCCESS);
}

void AddressRanges(Rig& rig) {
    std::uint32_t handle = 0, other = 0;
    ASSERT_EQ(rig.Allocate(RANGE, 64, handle), 0);
    EXPECT_NE(handle, 0U);
    EXPECT_NE(rig.Allocate(RANGE, 64, other), 0) << "it is exclusive";
    EXPECT_NE(rig.Allocate(RANGE + 0x1000, 0, other), 0) << "empty";
    const Bytes intoBootloader = {1, 0, 0, 0, 9, 0, 2, 1, 1, 0, 0, 0};
    EXPECT_EQ(rig.Write(TARGET, REQUEST, intoBootloader), TWL1394_SUCCESS); // there it announces itself
    EXPECT_EQ(rig.Count(TWL1394_NOTICE_INCOMING_DATA), 1U);
    EXPECT_EQ(rig.library.FreeAddressRange(rig.client.Get(), rig.device, handle), 0);
    EXPECT_NE(rig.library.FreeAddressRange(rig.client.Get(), rig.device, handle), 0) << "twice";
    ASSERT_EQ(rig.Allocate(RANGE, 64, handle), 0);
    rig.library.DeRegisterClient(rig.client.Get());
    rig.library.RegisterClient(rig.client.Get());
    EXPECT_EQ(rig.Allocate(RANGE, 64, handle), 0) << "freed with the client";
}

void DebugTextAndTime(Rig& rig) {
    for (const std::int32_t level : {1, 17})
        EXPECT_EQ(rig.library.SetDebugSpew(rig.client.Get(), level), 1);
    const std::string text = rig.client.TakeText();
    EXPECT_TRUE(text.empty() || text.ends_with("\r\n"));
    const std::int64_t ahead = std::int64_t{1} << 40;
    EXPECT_EQ(rig.library.QueryElapsedTimeMsLongInt(nullptr), 0U);
    const std::int64_t counters[] = {0, -5'000'000, ahead};
    EXPECT_EQ(rig.library.QueryElapsedTimeMsLongInt(&counters[1]) - rig.library.QueryElapsedTimeMsLongInt(&counters[0]),
              5U);
}

struct Rule {
    const char* name;
    void (*check)(Rig& rig);
};
void PrintTo(const Rule& rule, std::ostream* stream) {
    *stream << rule.name;
}

constexpr Rule RULES[] = {{"VersionAndNames", VersionAndNames},
                          {"OneClientAtATime", OneClientAtATime},
                          {"LocalAddress", LocalAddress},
                          {"TopologyMap", TopologyMap},
                          {"ReadsAndWrites", ReadsAndWrites},
                          {"FailedTransactions", FailedTransactions},
                          {"TimeOut", TimeOut},
                          {"Broadcast", Broadcast},
                          {"BusResets", BusResets},
                          {"NodesThatComeAndGo", NodesThatComeAndGo},
                          {"AddressRanges", AddressRanges},
                          {"DebugTextAndTime", DebugTextAndTime}};

class Conformance : public testing::TestWithParam<std::tuple<BenchMaker, Rule>> {};

TEST_P(Conformance, Holds) {
    Rig rig(std::get<BenchMaker>(GetParam()));
    std::get<Rule>(GetParam()).check(rig);
}

INSTANTIATE_TEST_SUITE_P(EachLibrary, Conformance,
                         testing::Combine(testing::ValuesIn(Benches()), testing::ValuesIn(RULES)),
                         [](const auto& param) {
                             return std::get<0>(param.param).name + "_" + std::get<1>(param.param).name;
                         });

} // namespace

// Reads and writes, and every way in which they end.
#include "KernelTest.h"

#include <cerrno>

#include <linux/firewire-constants.h>

using namespace testing_support;

namespace {

constexpr auto RESET = TWL1394_BUS_RESET, REFUSED = TWL1394_ADDRESS_ERROR, FAILED = TWL1394_NO_RESPONSE;
constexpr std::int32_t ABSENT = TWL1394_NODE_DID_NOT_RESPOND;

TEST_F(KernelTest, SendsToTheNodesFileAndFourBytesAsAQuadlet) {
    Start();
    Bytes four(4), many(2048);
    EXPECT_EQ(Read(TARGET, four), 1);
    EXPECT_EQ(Read(CAMERA, many), 1);
    EXPECT_EQ(Write(TARGET, {1, 2, 3, 4}), 1);
    EXPECT_EQ(Write(ADAPTER, {1, 2, 3, 4, 5, 6, 7, 8}), 1);
    const std::tuple<const char*, std::uint32_t, std::uint32_t, Bytes> expected[] = {
        {"fw1", TCODE_READ_QUADLET_REQUEST, 4, {}},
        {"fw2", TCODE_READ_BLOCK_REQUEST, 2048, {}},
        {"fw1", TCODE_WRITE_QUADLET_REQUEST, 4, {1, 2, 3, 4}},
        {"fw0", TCODE_WRITE_BLOCK_REQUEST, 8, {1, 2, 3, 4, 5, 6, 7, 8}}};
    ASSERT_EQ(kernel.sent.size(), std::size(expected));
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        const SentRequest& sent = kernel.sent[i];
        EXPECT_EQ(std::tuple(sent.file, sent.tcode, sent.length, sent.data), expected[i]);
        EXPECT_EQ(sent.address, ADDRESS);
    }
}

TEST_F(KernelTest, EveryEndHasItsResultAndAFailedReadChangesNothing) {
    Start();
    const struct {
        std::uint32_t rcode;
        int error;
        std::int32_t result;
    } rows[] = {{RCODE_CONFLICT_ERROR, 0, FAILED},
                {RCODE_DATA_ERROR, 0, FAILED},
                {RCODE_TYPE_ERROR, 0, REFUSED},
                {RCODE_ADDRESS_ERROR, 0, REFUSED},
                {RCODE_SEND_ERROR, 0, FAILED},
                {RCODE_CANCELLED, 0, ABSENT},
                {RCODE_BUSY, 0, ABSENT},
                {RCODE_NO_ACK, 0, ABSENT},
                {0x99, 0, FAILED},
                {0, ENODEV, ABSENT},
                {0, EIO, FAILED},
                {0, ENOMEM, FAILED}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.rcode << " " << row.error);
        kernel.SetErrors("fw1", 0, row.error);
        kernel.answer = [&](const SentRequest&) { return Reply{row.rcode, Bytes(8, 0x55)}; };
        Bytes data(8, 0xEE);
        EXPECT_EQ(Read(TARGET, data), row.result);
        EXPECT_EQ(data, Bytes(8, 0xEE));
        EXPECT_EQ(Write(TARGET, data), row.result);
    }
    kernel.SetErrors("fw1", 0);
    kernel.answer = [](const SentRequest&) { return Reply{0, Bytes(7, 0x55)}; };
    Bytes data(8, 0xEE);
    EXPECT_EQ(Read(TARGET, data), FAILED) << "a byte too little";
    EXPECT_EQ(data, Bytes(8, 0xEE));
    EXPECT_EQ(NoticesNow(), Notices{});
}

TEST_F(KernelTest, APayloadThatTheSpeedDoesNotAllowIsExplained) {
    Start();
    library.SetDebugSpew(client.Get(), 1);
    kernel.SetErrors("fw1", 0, EIO);
    EXPECT_EQ(Write(TARGET, Bytes(2048)), FAILED);
    EXPECT_NE(client.TakeText().find("S200, a block has at most 1024 bytes"), std::string::npos);
}

TEST_F(KernelTest, AnAnswerAfterItsDeadlineIsDropped) {
    Start();
    kernel.answer = [](const SentRequest&) { return std::nullopt; };
    Bytes late(8, 0xEE);
    EXPECT_EQ(Read(TARGET, late, 1), TWL1394_TIMED_OUT);
    kernel.AnswerOpen(RCODE_COMPLETE, Bytes(8, 0x11));
    kernel.answer = [](const SentRequest&) { return Reply{0, Bytes(8, 0x22)}; };
    Bytes next(8);
    EXPECT_EQ(Read(TARGET, next), 1);
    EXPECT_EQ(late, Bytes(8, 0xEE));
    EXPECT_EQ(next, Bytes(8, 0x22));
}

TEST_F(KernelTest, WhatHappensWhileATransactionWaitsEndsIt) {
    Start();
    const std::tuple<const char*, std::function<void()>, std::int32_t> rows[] = {
        {"the kernel's own time-out", [&] { kernel.AnswerOpen(RCODE_CANCELLED); }, ABSENT},
        {"a bus reset", [&] { kernel.Reset(0); }, RESET},
        {"an answer, then a bus reset",
         [&] {
             kernel.AnswerOpen(RCODE_COMPLETE, Bytes(8));
             Idle();
             kernel.Reset(0);
         },
         1},
        {"an answer and a bus reset at once",
         [&] {
             HoldEvents([&] {
                 kernel.AnswerOpen(RCODE_COMPLETE, Bytes(8));
                 kernel.Reset(0);
             });
         },
         1},
        {"the device goes", [&] { kernel.Remove("fw1"); }, ABSENT},
    };
    for (const auto& [name, happens, result] : rows) {
        SCOPED_TRACE(name);
        EXPECT_EQ(ReadDuring(TARGET, happens), result);
        Idle();
        kernel.AnswerOpen(RCODE_COMPLETE, Bytes(8)); // too late
    }
    EXPECT_EQ(Read(CAMERA), 1);
}

// The kernel refuses what has the old generation before it tells of the new one; who repeats it at once would fail
// again.
TEST_F(KernelTest, ARefusalByABusResetEndsWhenTheResetIsTold) {
    Start();
    kernel.answer = [](const SentRequest&) { return Reply{RCODE_GENERATION, {}}; };
    auto result = std::async(std::launch::async, [&] { return Read(TARGET); });
    EXPECT_EQ(result.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    kernel.Reset(0);
    EXPECT_EQ(result.get(), RESET);
    kernel.answer = nullptr;
    EXPECT_EQ(Read(TARGET), 1);
    kernel.answer = [](const SentRequest&) { return Reply{RCODE_GENERATION, {}}; };
    EXPECT_EQ(Read(TARGET, 1), RESET) << "none is told in time";
}

TEST_F(KernelTest, TheEndOfTheClientEndsATransaction) {
    Start();
    EXPECT_EQ(ReadDuring(TARGET, [&] { library.DeRegisterClient(client.Get()); }), TWL1394_SHUTTING_DOWN);
}

TEST_F(KernelTest, ADeviceThatHasAnotherDevicesNumberIsNotMeantUntilTheTopologyIsRead) {
    Start();
    ASSERT_EQ(ReadTopology(), 0);
    kernel.Reset(0, {{"fw0", 2}, {"fw1", 1}, {"fw2", 0}}); // the target and the camera have swapped numbers
    Idle();
    EXPECT_EQ(Write(TARGET, Bytes(8)), RESET);
    EXPECT_EQ(Write(CAMERA, Bytes(8)), RESET);
    EXPECT_EQ(Write(ADAPTER, Bytes(8)), 1) << "the same device as before";
    EXPECT_EQ(kernel.sent.size(), 1U);
    ASSERT_EQ(ReadTopology(), 0);
    EXPECT_EQ(Write(0, Bytes(8)), 1);
    EXPECT_EQ(kernel.sent.back().file, "fw2");
}

// Whichever of the two the program's thread sees first, a map of before the reset gives no right to the new numbers.
TEST_F(KernelTest, AResetRightAfterTheTopologyIsReadLeavesNoDoubtOfTheNumbers) {
    Start();
    std::uint32_t target = 0;
    int resets = 0;
    kernel.topologyRead = [&] {
        if (++resets % 2 == 0) // the second reading is left alone
            return;
        target = 1 - target;
        kernel.Reset(0, {{"fw0", 2}, {"fw1", target}, {"fw2", 1 - target}});
    };
    for (int i = 0; i < 200; ++i) {
        resets = 0;
        Bytes map;
        ASSERT_EQ(ReadTopology(map), 0);
        const bool isOld = map[4] != kernel.Generation(0);
        Idle();
        EXPECT_EQ(Write(0, Bytes(8)), isOld ? TWL1394_BUS_RESET : 1);
    }
}

TEST_F(KernelTest, TheFileOfADepartedDeviceCarriesNothing) {
    Start();
    kernel.Reset(0, {{"fw0", 1}, {"fw2", 0}}); // the camera has the target's number, and the adapter the camera's
    Idle();
    ASSERT_EQ(ReadTopology(), 0);
    EXPECT_EQ(Read(0), 1);
    EXPECT_EQ(kernel.sent.back().file, "fw2");
    EXPECT_EQ(Read(1), 1);
    EXPECT_EQ(kernel.sent.back().file, "fw0");
    EXPECT_EQ(Read(2), ABSENT);
}

TEST_F(KernelTest, ABroadcastGoesToEachNodeOfTheBusAndWaitsForNone) {
    Start();
    kernel.Add("fw3", {.card = 1, .number = 0, .local = true});
    kernel.Add("fw4", {.card = 1, .number = 1});
    Idle();
    kernel.answer = [](const SentRequest&) { return std::nullopt; };
    EXPECT_EQ(Write(TWL1394_BROADCAST_NODE, Bytes(8, 0x77)), 1);
    ASSERT_EQ(kernel.sent.size(), 2U);
    EXPECT_EQ(kernel.sent[0].file + kernel.sent[1].file, "fw1fw2");
    EXPECT_EQ(kernel.sent[1].data, Bytes(8, 0x77));
    for (const char* file : {"fw1", "fw2"})
        kernel.SetErrors(file, 0, EIO);
    EXPECT_EQ(Write(TWL1394_BROADCAST_NODE, Bytes(8)), FAILED) << "nobody could get it";
    kernel.Reset(0, {{"fw0", 0}});
    Idle();
    EXPECT_EQ(Write(TWL1394_BROADCAST_NODE, Bytes(8)), 1) << "nobody is there";
    EXPECT_EQ(kernel.sent.size(), 2U);
}

} // namespace

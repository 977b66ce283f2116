// One exchange with a target, byte by byte. A request is version, ID, code, count (quadlets), operands.
#include "TargetScript.h"

#include "Handles.h"

#include <thread>

using namespace testing_support;
using namespace basBootloader;

namespace {

class Session : public OneTarget {
protected:
    std::int32_t transact(std::int32_t code, std::int32_t timeOutMs = 0, std::uint8_t quadlets = 0,
                          const char* operands = "", const CommandProgress* progress = nullptr) {
        BootloaderRequest request{.CommandCode = code, .NumQuadlets = quadlets, .Operands = Bytes(operands)};
        return SessionLayerTransaction(HANDLE, request, response, timeOutMs, progress);
    }
    BootloaderResponse response;
};

TEST_F(Session, NumbersRequestsFrom1To32766AndSendsTheAnnouncedOperands) {
    globals.LastCommandID = 4;
    target.reply = Reply{Bytes("00 0F 1B 00 00 00 00 01")};
    EXPECT_EQ(transact(GET_DEBUG_GUID), 1);
    EXPECT_EQ(library.transactions, (Texts{"W0 FFFFC8021000 0 01000000 05000F00", "R0 FFFFC8029000 40 0"}));
    EXPECT_EQ(response.Operands, Bytes("00 0F 1B 00 00 00 00 01"));
    globals.LastCommandID = 32765;
    transact(WRITE_SHELL, 0, 0, "AA BB CC DD");
    EXPECT_EQ(LastRequest(), Bytes("01 00 00 00 FE 7F 09 00"));
    transact(WRITE_SHELL, 0, 1, "01 02 03 04 05");
    EXPECT_EQ(LastRequest(), Bytes("01 00 00 00 01 00 09 01 01 02 03 04 05 00 00 00"));
}

TEST_F(Session, AcceptsOnlyTheAnswerToItsOwnRequest) {
    const std::tuple<const char*, Reply, std::int32_t, const char*> rows[] = {
        {"another command", {.codeOffset = 1}, -1, "invalid command code (request = 15 (0xF), response = 16 (0x10)"},
        {"another version", {.versionOffset = 2}, -1, "protocol version (request = 1 (0x1), response = 3 (0x3)"},
        {"an earlier request", {.idOffset = -1}, -1, "invalid command ID (request = 5 (0x5), response = 4 (0x4)"},
        {"14 operands", {.operands = ByteArray(32, 0xEE), .count = 14}, 1, ""},
        {"15 operands", {.count = 15}, -1, "GetResponse Error: invalid number of quadlets returned: 15"},
        {"silence",
         {.readResult = SILENCE},
         SILENCE,
         "(likely a timout error): GetResponse returned error code 121 (0x79)"},
        {"an address error",
         {.readResult = TWL1394_ADDRESS_ERROR},
         TWL1394_ADDRESS_ERROR,
         "code -2147483625 (0x80000017)"},
    };
    for (const auto& [name, reply, result, message] : rows) {
        SCOPED_TRACE(name);
        globals.LastCommandID = 4;
        target.reply = reply;
        EXPECT_EQ(transact(GET_DEBUG_GUID), result);
        EXPECT_TRUE(Logged(message));
    }
    ByteArray padded(56); // what a read doesn't return is zero
    std::fill_n(padded.begin(), 32, 0xEE);
    EXPECT_EQ(response.Operands, padded);
}

TEST_F(Session, PollsForALateAnswerOnlyUntilTheTimeOut) {
    target.reply = Reply{.latePolls = 3};
    EXPECT_EQ(transact(READ_CRC), -1) << "a single poll";
    const std::int64_t before = clock.Now();
    EXPECT_EQ(transact(READ_CRC, 2000), 1);
    EXPECT_EQ((clock.Now() - before) / 1'000'000, 3 * 110 + 10);
    EXPECT_EQ(requests.size(), 2u) << "a request is never repeated";
    target.reply = Reply{.latePolls = 1};
    const CommandProgress leftOpen{{}, {}, [this] { clock.Sleep(40'000'000'000); }}; // a message box stays open
    EXPECT_EQ(transact(READ_CRC, 2000, 0, "", &leftOpen), 1) << "the answer came while nobody looked";
    target.reply = Reply{.readResult = SILENCE};
    EXPECT_EQ(transact(RESET, 5000), 1) << "a reset needs no answer";
}

TEST_F(Session, SpeaksToEachProtocolVersion) {
    for (const auto& [version, sent, result] : {std::tuple{1, 1, 1}, {3, 3, 1}, {2, 2, -1}, {0x2000000, 1, 1}}) {
        record().Info.ProtocolVersion = version;
        EXPECT_EQ(transact(GET_DEBUG_GUID), result) << version;
        EXPECT_EQ(LastRequest()[0], sent);
    }
    EXPECT_TRUE(Logged("ValidateResponse failed: Protocol Version 2 is not yet implemented"));
    EXPECT_TRUE(Logged("in SendRequest: 33554432(0x2000000)!  Setting protocol version to 1."));
}

TEST_F(Session, SendsNothingWhileAnotherHoldsTheMutex) {
    const auto take = [] { return platform::WaitForSingleObject(globals.TransactionMutex, 0); };
    std::thread(take).join(); // never released
    EXPECT_EQ(transact(GET_DEBUG_GUID), -1);
    EXPECT_TRUE(library.transactions.empty());
}

} // namespace

// The commands of a load, and the polls of the block protocol. Blocks return -2 for number 0 and -102 otherwise if no
// answer comes.
#include "TargetScript.h"

#include "Handles.h"
#include "WindowSystem.h"

using namespace testing_support;
using namespace basBootloader;

namespace {

using DownloadCommands = OneTarget;

TEST_F(DownloadCommands, AcceptOnlyASensibleBlockSize) {
    const std::tuple<const char*, Reply, std::int32_t, std::int32_t, const char*> rows[] = {
        {"none", {Bytes("00 00 00 00")}, -1, 0, "MAX BLOCK SIZE = 0x 0x0 0x0 0x0 0x0!"},
        {"negative", {Bytes("FE FF FF FF")}, -1, 0, "MAX BLOCK SIZE = 0x 0xFE 0xFF 0xFF 0xFF!"},
        {"the largest", {Bytes("00 10 00 00")}, 1, 4096, ""},
        {"beyond", {Bytes("01 10 00 00")}, 1, 4096, "Max Block size is 4097.  This seems awefully large."},
        {"no operand", {}, -1, 0, "DownloadStart failure: expected 4 operands, received 0"},
        {"ten operands", {.count = 10}, -1, 0, "DownloadStart failure: expected 4 operands, received 10"},
    };
    for (const auto& [name, reply, result, expected, text] : rows) {
        SCOPED_TRACE(name);
        target.reply = reply;
        std::int32_t size = 0;
        EXPECT_EQ(DownloadStart(HANDLE, {}, size), result);
        EXPECT_EQ(result == 1 ? size : 0, expected);
        EXPECT_TRUE(Logged(text));
    }
}

TEST_F(DownloadCommands, ReportTheResultOfABlock) {
    const ByteArray good = Bytes("05 00 00 00 00 00 00 00");
    const std::tuple<const char*, std::int32_t, Reply, std::int32_t, std::int32_t> rows[] = {
        {"good", 5, {good}, 1, 1},
        {"good at the last poll", 5, {.operands = good, .latePolls = 3}, 1, 4},
        {"too late", 5, {.operands = good, .latePolls = 4}, -102, 4},
        {"too late, block 0", 0, {.latePolls = 4}, -2, 4},
        {"another block", 5, {Bytes("04 00 00 00 00 00 00 00")}, -102, 4},
        {"flash not written", 5, {Bytes("05 00 00 00 FD FF FF FF")}, -3, 1},
        {"a status that looks like success", 5, {Bytes("05 00 00 00 01 00 00 00")}, -101, 1},
        {"another block and a status", 5, {Bytes("04 00 00 00 FD FF FF FF")}, -3, 1},
        {"one operand", 0, {Bytes("00 00 00 00")}, -2, 4},
        {"a bus reset", 5, {.readResult = TWL1394_BUS_RESET}, -102, 4},
    };
    for (const auto& [name, block, reply, result, polls] : rows) {
        SCOPED_TRACE(name);
        target.reply = reply;
        library.transactions.clear();
        int turns = 0;
        bool underWay = true, locked = false;
        platform::Post([&] {
            if (!underWay)
                return;
            ++turns;
            for (const std::int32_t handle : {HANDLE, 0}) // a request would overwrite the answer
                EXPECT_EQ(HaltBootloader(handle), -1);
            EXPECT_EQ(WriteShellCharacters(HANDLE, Bytes("61")), -1);
        });
        onRequest = [&] {
            locked = platform::ReleaseMutex(globals.TransactionMutex);
            std::ignore = platform::WaitForSingleObject(globals.TransactionMutex, 0);
        };
        const std::int64_t before = clock.Now();
        ByteArray payload(8);
        EXPECT_EQ(DownloadBlock(HANDLE, block, 0, 8, payload), result);
        EXPECT_EQ(std::ssize(library.transactions), 2 + polls);
        underWay = false;
        EXPECT_TRUE(locked) << "another program may get in between";
        EXPECT_EQ((clock.Now() - before) / 1'000'000, polls * 10 + (polls - 1) * 20);
        EXPECT_EQ(turns, polls > 1) << "events between two polls";
        EXPECT_FALSE(platform::ReleaseMutex(globals.TransactionMutex)) << "still held";
        platform::DoEvents();
    }
}

TEST_F(DownloadCommands, WaitThreeSecondsForTheVerdictByDefault) {
    target.reply = Reply{.operands = Bytes("78 56 34 12 01 00 00 00"), .latePolls = 40};
    std::int32_t crc = 0, validity = 0;
    EXPECT_EQ(DownloadEnd(HANDLE, crc, validity), -1);
    EXPECT_EQ(DownloadEnd(HANDLE, crc, validity, 70000), 1);
    EXPECT_EQ(crc, 0x12345678);
    EXPECT_EQ(validity, 1);
    target.reply = Reply{Bytes("00 00 00 00")};
    EXPECT_EQ(DownloadEnd(HANDLE, crc, validity), -1);
    EXPECT_TRUE(Logged("DownloadEnd failure: expected 8 operands, received 1"));
}

} // namespace

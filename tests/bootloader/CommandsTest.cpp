// The single-shot commands: their bytes on the wire and the handling of each answer.
#include "AnotherProgram.h"
#include "Handles.h"
#include "TargetScript.h"

using namespace testing_support;
using namespace basBootloader;

namespace {

constexpr const char* TYPED = "00 11 22 33 44 55 66 77"; // a GUID, and the same in target order
constexpr const char* TURNED = "33 22 11 00 77 66 55 44";

class SingleCommands : public OneTarget {
protected:
    SingleCommands() {
        library.write = [this, send = library.write](std::uint32_t node, std::uint64_t address,
                                                     const ByteArray& bytes) {
            if (address == 0xFFFFC8021040)
                written.push_back(bytes);
            return send(node, address, bytes);
        };
    }
    std::int32_t crc = 77, validity = 77, flag = 77;
    ByteArray guid = Bytes(TURNED), read;
    std::vector<ByteArray> written; // to the Request Buffer
};

constexpr std::int64_t OF_TARGET = 0x000F1B0000000001, OF_TYPED = 0x0011223344556677;

TEST_F(SingleCommands, AreRefusedWhileAnotherProgramLoadsTheDevice) {
    AnotherProgram other;
    ASSERT_TRUE(other.Takes(OF_TARGET));
    constexpr const char* REFUSAL = "11 SendRequest failed: The device 000F1B0000000001 is being loaded by "
                                    "another program.  Nothing was sent.";
    const std::function<std::int32_t()> calls[] = {
        [&] { return ResetDevice(HANDLE, 1); },
        [&] { return StartImage(HANDLE, 0, flag); },
        [&] { return ProgramGUID(HANDLE, guid); },
        [&] { return InitializePersistentParams(HANDLE); },
        [&] { return ReadImageCRC(HANDLE, 0, crc, validity); },
        [&] { return HaltBootloader(HANDLE); },
    };
    for (const auto& call : calls) {
        log.clear();
        EXPECT_EQ(call(), -1);
        EXPECT_TRUE(Logged(REFUSAL));
    }
    EXPECT_EQ(WriteKey(HANDLE, "A", Bytes("01")), -1);
    EXPECT_NE(WriteShellCharacters(HANDLE, Bytes("41")), 1);
    log.clear();
    EXPECT_EQ(ReadShellCharacters(HANDLE, read, false), -1);
    EXPECT_EQ(CountLogged("11 "), 0u) << "asked for many times a second";
    EXPECT_EQ(HaltBootloader(0), -1);
    EXPECT_TRUE(Logged("11 SendRequest failed: A device is being loaded by another program.  Nothing was sent."));
    EXPECT_TRUE(requests.empty() && written.empty());
    other.Releases(OF_TARGET);
    EXPECT_EQ(ResetDevice(HANDLE, 1), 1);
}

TEST_F(SingleCommands, KeepTheLockOverANewGuid) {
    AnotherProgram other;
    {
        const DeviceLock run(HANDLE);
        {
            const DeviceLock load(HANDLE);
            EXPECT_TRUE(run.Taken() && load.Taken());
        }
        EXPECT_FALSE(other.CouldTake(OF_TARGET)) << "the run still has it";
        ASSERT_TRUE(other.Takes(OF_TYPED));
        EXPECT_EQ(ProgramGUID(HANDLE, guid), -1);
        EXPECT_TRUE(requests.empty());
        other.Releases(OF_TYPED);
        EXPECT_EQ(ProgramGUID(HANDLE, guid), 1);
        EXPECT_FALSE(other.CouldTake(OF_TYPED) || other.CouldTake(OF_TARGET));
    }
    EXPECT_TRUE(other.CouldTake(OF_TYPED) && other.CouldTake(OF_TARGET));
}

TEST_F(SingleCommands, SendTheirBytesAndCheckTheirAnswers) {
    const struct {
        std::function<std::int32_t()> call;
        const char* request;     // after version and ID: code, count, operands
        std::uint8_t quadlets;   // of a good answer
        std::int32_t failed;     // result when the target doesn't answer
        const char* failure;     // logged then
        std::int32_t miscounted; // result of an answer with one operand too many
        const char* wrongCount;  // logged then
    } rows[] = {
        {[&] { return HaltBootloader(HANDLE); }, "01 00", 0, SILENCE,
         "Haltbootloader failed: Transaction failed, code 121", 1, ""},
        {[&] { return ResetDevice(HANDLE, 1); }, "02 01 01 00 00 00", 0, 1, "Resetting bootloader device 0x63", 1, ""},
        {[&] { return ReadImageCRC(HANDLE, 3, crc, validity); }, "03 01 03 00 00 00", 2, SILENCE,
         "ReadImageCRC failed: Transaction failed, code 121", -1,
         "ReadImageCRC failure: expected 2 operands, received 3"},
        {[&] { return SwitchTo1394Shell(HANDLE, 1, 2); }, "07 02 00 00 00 01 00 00 00 02", 0, SILENCE,
         "SwitchTo1394Shell failed", 1, "SwitchTo1394Shell failure: expected 0 operands, received 1"},
        {[&] { return ProgramGUID(HANDLE, guid); }, "0A 02 33 22 11 00 77 66 55 44", 0, SILENCE,
         "Setting GUID to 00 11 22 33 44 55 66 77...", 1, "ProgramGUID failure: expected 0 operands, received 1"},
        {[&] { return InitializePersistentParams(HANDLE); }, "0C 00", 0, SILENCE, "InitializePersistentParams failed",
         1, "InitializePersistentParams warning: expected 0 operands, received 1"},
        {[&] { return InitializeConfigToFactoryDefaults(HANDLE); }, "0D 00", 0, 1,
         "not respond to this command, assuming success, transaction code 121", 1, ""},
        {[&] { return SetDebugGUID(HANDLE, Bytes(TYPED)); }, "0E 02 00 11 22 33 44 55 66 77", 0, SILENCE,
         "SetDebugGUID (node #0) failed: Transaction failed, code 121", 1, ""},
        {[&] { return GetDebugGUID(HANDLE, read); }, "0F 00", 2, SILENCE, "GetDebugGUID failed", -1,
         "GetDebugGUID failure: expected 2 operands, received 3"},
        {[&] { return StartImage(HANDLE, 2, flag); }, "11 01 02 00 00 00", 1, SILENCE,
         "(this is probably due to the fact that the bootloader is no longer running), code 121", 1,
         "StartImage warning: expected 4 operands, received 2"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.request);
        target.reply = Reply{ByteArray(row.quadlets * 4u + 4, 5)};
        EXPECT_EQ(row.call(), row.miscounted);
        EXPECT_TRUE(Logged(row.wrongCount));
        target.reply = Reply{.readResult = SILENCE};
        EXPECT_EQ(row.call(), row.failed);
        EXPECT_TRUE(Logged(row.failure));
        EXPECT_EQ(crc + validity + flag, 3 * 77) << "values come with a good answer only";

        target.reply = Reply{ByteArray(row.quadlets * 4u)};
        EXPECT_EQ(row.call(), 1);
        const ByteArray sent = LastRequest();
        EXPECT_EQ(ByteArray(sent.begin() + 6, sent.end()), Bytes(row.request));
        crc = validity = flag = 77;
    }
}

TEST_F(SingleCommands, ReturnTheValuesOfTheAnswer) {
    target.reply = Reply{Bytes("78 56 34 12 01 00 00 00")};
    EXPECT_EQ(ReadImageCRC(HANDLE, 0, crc, validity), 1);
    EXPECT_EQ(crc, 0x12345678);
    EXPECT_EQ(validity, 1);
    EXPECT_EQ(GetDebugGUID(HANDLE, read), 1);
    EXPECT_EQ(read, Bytes("78 56 34 12 01 00 00 00"));
    target.reply = Reply{Bytes("FF FF FF FF")};
    EXPECT_EQ(StartImage(HANDLE, 0, flag), 1);
    EXPECT_EQ(flag, -1);
    EXPECT_TRUE(Logged("StartImage Failed: bad CRC of debugger image on embedded target!"));
}

TEST_F(SingleCommands, ExceptTheHaltNeverGoToAllNodes) {
    EXPECT_EQ(ResetDevice(0, 1), -101);
    EXPECT_EQ(ReadImageCRC(0, 0, crc, validity), -101);
    EXPECT_EQ(ProgramGUID(0, guid), -101);
    EXPECT_EQ(GetDebugGUID(0, read), 0);
    EXPECT_EQ(DownloadStart(0, {}, crc), -101);
    EXPECT_EQ(ReadShellCharacters(0, read, false), -101);
    EXPECT_EQ(WriteShellCharacters(0, guid), -101);
    EXPECT_EQ(ReadKey(0, "K", read), -101);
    EXPECT_EQ(WriteKey(0, "K", guid), -101);
    EXPECT_TRUE(library.transactions.empty());
    EXPECT_EQ(HaltBootloader(0), 1);
    EXPECT_TRUE(Logged("Broadcasted halt command."));
    EXPECT_EQ(library.transactions, Texts{"W63 FFFFC8021000 0 01000000 01000100"}); // no answer is awaited
    EXPECT_FALSE(platform::ReleaseMutex(globals.TransactionMutex)) << "still held";
}

} // namespace

// Bootloader targets whose answers a test defines, on a bus that records its transactions.
#pragma once

#include "ScriptedLibrary.h"
#include "basBootloader.h"
#include "basUtils.h"

namespace testing_support {

// Codes of the bootloader's commands.
constexpr std::uint8_t HALT = 1, RESET = 2, READ_CRC = 3, WRITE_SHELL = 9, SET_DEBUG_GUID = 14, GET_DEBUG_GUID = 15,
                       WRITE_KEY = 19;

ByteArray Bytes(const char* hex);
void Put(ByteArray& bytes, std::size_t offset, const char* hex);

// The info registers of a target in its bootloader. `guid` in reading order.
ByteArray InfoBytes(std::int32_t version, const char* guid = "00 0F 1B 00 00 00 00 01");

// What a target answers to one request.
struct Reply {
    ByteArray operands = {};
    int count = -1;                                      // quadlets announced, -1: those of `operands`
    int latePolls = 0;                                   // reads that still return the previous answer
    std::int32_t readResult = 1;                         // of every read of the response
    int codeOffset = 0, idOffset = 0, versionOffset = 0; // of the echo
};

// A target with a debug GUID; while `reply` is set, it answers every request with that.
struct ScriptedTarget {
    ByteArray info = InfoBytes(1);
    ByteArray debugGuid = Bytes("00 0F 1B 00 00 00 00 01"), debuggerAnswer = ByteArray(8);
    std::optional<Reply> reply;
    int failingReads = 0; // the next reads that fail, with this code:
    std::int32_t failureCode = 121;
    ByteArray responseBuffer; // what a read of it returns

    std::int32_t Write(std::uint64_t address, const ByteArray& bytes);
    std::int32_t Read(std::uint64_t address, std::uint8_t* data, std::size_t size);

private:
    Reply Answer(const ByteArray& request);
    ByteArray response_ = ByteArray(40), next_ = ByteArray(40);
    int latePolls_ = 0;
    std::int32_t readResult_ = 1;
};

// A fresh program on a bus of targets.
class TargetsTest : public LibraryTest {
protected:
    TargetsTest();
    ~TargetsTest() override;
    // Fills the node table: `count` nodes, then this computer.
    void Nodes(std::size_t count);
    std::vector<ScriptedTarget> targets = std::vector<ScriptedTarget>(8); // by node number
    std::vector<std::pair<std::uint32_t, ByteArray>> requests;            // node, bytes
    std::function<void()> onRequest;
};

// A bus with one target, known under its handle.
class OneTarget : public TargetsTest {
protected:
    static constexpr std::int32_t HANDLE = 63;
    OneTarget();
    BootloaderTarget& record() { return basBootloader::globals.TargetList[0]; }
    ByteArray LastRequest() const { return requests.back().second; }
    ScriptedTarget& target = targets[0];
};

} // namespace testing_support

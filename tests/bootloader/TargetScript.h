// Bootloader targets whose every answer a test lays down, on a bus that notes what crosses it.
#pragma once

#include "AppTest.h"
#include "basBootloader.h"
#include "basUtils.h"

#include <deque>

namespace testing_support {

ByteArray Bytes(const char* hex);
void Put(ByteArray& bytes, std::size_t offset, const char* hex);
constexpr std::int32_t Code(std::uint32_t code) {
    return static_cast<std::int32_t>(code);
}

// The info registers of a target in its bootloader. `guid` in reading order.
ByteArray InfoBytes(std::int32_t version, const char* guid = "00 0F 1B 00 00 00 00 01");

// What a target answers to one request.
struct Reply {
    ByteArray operands = {};
    int count = -1;                                      // quadlets announced, -1: those of `operands`
    int latePolls = 0;                                   // reads that still find the answer before it
    std::int32_t readResult = 1;                         // of every read of the response
    int codeOffset = 0, idOffset = 0, versionOffset = 0; // of the echo
};

// A target with a flash, or, while `reply` is set, one that answers everything with that.
struct ScriptedTarget {
    ByteArray info = InfoBytes(1);
    ByteArray debugGuid = Bytes("00 0F 1B 00 00 00 00 01"), debuggerAnswer = ByteArray(8);
    std::optional<Reply> reply;
    std::int32_t maxBlockSize = 1024, crc = 0, crcValidity = 0;
    bool endAnswered = true;
    std::deque<std::int32_t> statuses; // of the blocks to come, then good
    int failingReads = 0;              // from now on, with this code:
    std::int32_t failureCode = 121;

    ByteArray announced, flash;
    std::vector<std::string> blocks; // "number address size"
    int ends = 0;

    std::int32_t Write(std::uint64_t address, const ByteArray& bytes);
    std::int32_t Read(std::uint64_t address, std::uint8_t* data, std::size_t size);

private:
    Reply Answer(const ByteArray& request);
    ByteArray requestBuffer_, response_ = ByteArray(40), next_ = ByteArray(40);
    int latePolls_ = 0;
    std::int32_t readResult_ = 1;
};

struct ScriptedBus {
    struct Call {
        char kind; // 'W' or 'R'
        std::uint32_t node;
        std::uint64_t address;
        ByteArray bytes;
    };
    std::vector<ScriptedTarget> targets = std::vector<ScriptedTarget>(8); // by node number
    std::vector<Call> calls;
    std::function<void()> onRequest;

    ByteArray LastRequest() const;
    std::vector<int> Requests(std::uint32_t node) const; // command codes
    std::string Trace() const;                           // "W<node> <address> <quadlets>|R<node> <address> <size>|"...
};

// A fresh program whose library is the scripted bus.
class BareBus : public AppTest {
protected:
    BareBus();
    // Fills the node table: `count` nodes and this computer behind them.
    void Nodes(std::size_t count);
    bool Logged(const std::string& text) const; // part of a message
    ScriptedBus bus;
};

// A bus with one target, known under its handle.
class OneTarget : public BareBus {
protected:
    static constexpr std::int32_t HANDLE = 63;
    OneTarget();
    BootloaderTarget& record() { return basBootloader::globals.TargetList[0]; }
    ScriptedTarget& target = bus.targets[0];
};

} // namespace testing_support

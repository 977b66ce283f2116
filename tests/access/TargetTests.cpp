// A target's registers, ring and refusals; the program's own tests have the rest.
#include "SimulatedBus.h"

using namespace std::string_literals;

namespace {

constexpr const char* IDENTITY = R"("hardwareModelID": 17, "hardwareVersion": "0x01000002", "mode": "bootloader",
  "application": {"id": "0x1234", "version": "0x01020304", "date": "20020831", "time": "152503"},
  "bootloader": {"version": "0x01000101", "date": "20020101", "time": "080000"},
  "debugger": {"id": 7, "version": 1, "date": "20020102", "time": "080001"})";

TEST_F(SimulatedBus, EachProtocolHasItsRegisterByteOrderAndItsRequestVersion) {
    const std::string little = "tarnwell????\1\1\0\1\0\x1B\x0F\0\1\0\0\0\x11\0\0\0\2\0\0\1"
                               "20020831152503\0\0\x34\x12\0\0\4\3\2\1\0\0\0\0\0\0\0\0"
                               "20020101080000\0\0"
                               "20020102080001\0\0\7\0\0\0\1\0\0\0"s;
    for (const auto& [protocol, accepted] : {std::pair{1u, 1}, {2u, 2}, {3u, 3}, {0x2000000u, 1}}) {
        Describe(OneTarget(IDENTITY + std::string(R"(, "protocol": )") + std::to_string(protocol)));
        Bytes expected(little.begin(), little.end());
        for (std::size_t i = 0; i < 4; ++i) // bytes that identify the byte order of the other numbers
            expected[8 + i] = static_cast<uint8_t>(protocol >> 8 * i);
        for (const int number : {12, 16, 20, 24, 28, 48, 52, 96, 100})
            if (protocol == 0x2000000)
                std::reverse(expected.begin() + number, expected.begin() + number + 4);
        EXPECT_EQ(Get(0, INFO_REGISTERS, 104), expected) << protocol;
        for (uint8_t version = 0; version < 5; ++version)
            EXPECT_EQ(Answer(0, version, GET_DEBUG_GUID, 0) != NO_ANSWER, version == accepted)
                << protocol << "/" << +version;
    }
}

TEST_F(SimulatedBus, WhatATargetDoesNotKnowGetsNoAnswer) {
    Describe(OneTarget(R"("mode": "bootloader")"));
    const Bytes guid = {1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(Answer(0, 1, SET_DEBUG_GUID, 2, guid), Bytes{});
    EXPECT_EQ(Answer(0, 1, GET_DEBUG_GUID, 0), guid);
    EXPECT_EQ(Answer(0, 1, 16, 0), NO_ANSWER) << "a code that is none";
    EXPECT_EQ(Answer(0, 1, SET_DEBUG_GUID, 2, {1, 2, 3, 4}), NO_ANSWER) << "too few operands";
    EXPECT_EQ(Answer(0, 1, SET_DEBUG_GUID, 1, guid), NO_ANSWER) << "a wrong count";
    EXPECT_EQ(Answer(0, 1, PROGRAM_GUID, 2, guid), Bytes{});
    EXPECT_EQ(Get(0, INFO_REGISTERS + 16, 8), guid);
    EXPECT_EQ(Get(0, ROM + 16, 4), (Bytes{0, 0, 0, 1})) << "the ROM follows at the next start";
}

TEST_F(SimulatedBus, TheRingIsReadDirectlyInTheByteOrderOfTheTarget) {
    for (const uint32_t protocol : {2u, 0x2000000u}) {
        Describe(OneTarget(R"("shell": {"banner": "ready\r\n", "ring": 32}, "protocol": )" + std::to_string(protocol)));
        const bool big = protocol != 2;
        const auto half = [big](const Bytes& ring, std::size_t at) {
            return big ? ring[at] << 8 | ring[at + 1] : ring[at + 1] << 8 | ring[at];
        };
        Bytes ring = Get(0, RESPONSE_BUFFER, 40);
        EXPECT_EQ(half(ring, 4), 31);
        EXPECT_EQ(half(ring, 6), 9);
        EXPECT_EQ(std::string(ring.begin() + 9, ring.begin() + 18), "ready\r\n> ");
        Bytes typed = {0, 0, 0, 0, 0, 0, uint8_t(big ? 0 : 25), uint8_t(big ? 25 : 0)};
        typed.insert(typed.end(), 25, 'z');
        EXPECT_EQ(Write(0, REQUEST_BUFFER, {0, 0, 0, 0, 0, 0, 1, 1, 'y', 0, 0, 0}), 1); // overwritten
        EXPECT_EQ(Write(0, REQUEST_BUFFER, typed), 1);
        EXPECT_EQ(Get(0, RESPONSE_BUFFER, 40), ring) << "the console looks a moment later";
        PassMs(10);
        ring = Get(0, RESPONSE_BUFFER, 40);
        EXPECT_EQ(half(ring, 6), 34); // the head keeps counting, positions wrap
        EXPECT_EQ(std::string(ring.begin() + 8, ring.begin() + 13), "zzzad");
        EXPECT_EQ(ring[big ? 3 : 0], 1) << "lapped once";
    }
}

TEST_F(SimulatedBus, AnImpossibleKeyIsAnsweredWithAStatus) {
    Describe(OneTarget(R"("mode": "bootloader", "keys": {"LONG5": ")" + std::string(300, 'a') + "\"}"));
    // Status, size of the value, bytes in the Response Buffer, start.
    const auto readPass = [this](const std::string& name) {
        const auto quadlets = static_cast<uint8_t>(3 + (name.size() + 3) / 4);
        return Answer(0, 1, READ_KEY, quadlets, Words({static_cast<uint32_t>(name.size()) + 1, 0, 0}, name + '\0'));
    };
    EXPECT_EQ(readPass("ABSENT"), Words({1, 0, 0, 0}));
    EXPECT_EQ(Little(Answer(0, 1, READ_KEY, 3, Words({0xFFFFFFFF, 0, 0}, {'\0'})), 0), 2u);
    EXPECT_EQ(Little(Answer(0, 1, WRITE_KEY, 5, Words({2, 0, 200, 128}, "A")), 0), 3u) << "beyond what is held";
    EXPECT_EQ(Answer(0, 1, INITIALIZE_PARAMETERS, 0), NO_ANSWER); // the store is rewritten, which takes time
    PassMs(800);
    EXPECT_EQ(AnswerNow(0, 1, INITIALIZE_PARAMETERS), Bytes{});
    EXPECT_EQ(Little(readPass("LONG5"), 4), 300u);
}

// Checks during a load. Complete loads are covered by the program's own tests.
class Download : public SimulatedBus {
protected:
    void SetUp() override {
        SimulatedBus::SetUp();
        Describe(OneTarget(R"("mode": "bootloader", "maxBlockSize": 64, "eraseMs": 0, "checkMs": 0)"));
        for (int i = 0; i < 150; ++i)
            image.push_back(static_cast<uint8_t>(i * 7));
    }
    Bytes Start(uint8_t type, uint32_t length, uint32_t crc) {
        return Answer(0, 1, DOWNLOAD_START, 10, Words({type, 0, 0, 0, 0, 0x55, 1, 0x1000, length, crc}));
    }
    // The target's status.
    int32_t Block(uint32_t number, uint32_t address, uint32_t size) {
        Write(0, REQUEST_BUFFER, Bytes(image.begin() + std::max(0, static_cast<int>(address) - 0x1000), image.end()));
        const Bytes answer = Answer(0, 1, DOWNLOAD_BLOCK, 3, Words({number, address, size}));
        EXPECT_EQ(Little(answer, 0), number);
        return static_cast<int32_t>(Little(answer, 4));
    }
    Bytes image;
};

TEST_F(Download, BlocksAreCheckedForOrderRangeAndSize) {
    EXPECT_EQ(Block(0, 0x1000, 64), -10);
    Start(0, 100, 0);
    EXPECT_EQ(Block(1, 0x1000, 64), -11);
    EXPECT_EQ(Block(0, 0x1000, 65), -13);
    EXPECT_EQ(Block(0, 0x1000, 0), -13);
    EXPECT_EQ(Block(0, 0x0FFC, 64), -12);
    EXPECT_EQ(Block(0, 0x1000, 64), 0);
    EXPECT_EQ(Block(0, 0x1000, 64), 0) << "the last one again";
    EXPECT_EQ(Block(1, 0x1044, 32), -12) << "a gap";
    EXPECT_EQ(Block(1, 0x1040, 37), -12) << "beyond the announced length";
    EXPECT_EQ(Block(1, 0x1040, 36), 0);
    EXPECT_EQ(Block(0, 0x1000, 64), -11);
    EXPECT_EQ(Start(4, 150, 0), Bytes(4, 0)) << "no such section";
    EXPECT_EQ(Start(0, 0xFFFFFFFF, 0), Bytes(4, 0)) << "no room: nothing is erased";
    Bytes flash(101);
    EXPECT_EQ(SimulatorSection(0, "application", flash.data(), flash.size()), 100);
    EXPECT_TRUE(std::equal(image.begin(), image.begin() + 100, flash.begin()));
}

} // namespace

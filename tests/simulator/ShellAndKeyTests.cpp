// The console in its generations, and the keys.
#include "SimulatedBus.h"

namespace {

const char* const SHELL = R"("keys": {"MODEL": "TX-9", "NAME": "abcd"}, "shell": {"banner": "ready\r\n", "ring": 32})";

class Console : public SimulatedBus {
protected:
    void DescribeProtocol(uint32_t value) {
        Describe(OneTarget(SHELL + std::string(R"(, "mode": "bootloader", "protocol": )") + std::to_string(value)));
        version = value == 3 ? 3 : 1;
    }
    void Type(const std::string& typed) {
        Write(0, 0xFFFFC8021040, Bytes(typed.begin(), typed.end()));
        EXPECT_NE(Answer(0, version, 9, 1, {static_cast<uint8_t>(typed.size()), 0, 0, 0}), NO_ANSWER);
    }
    // What waits on the target, by command 8; the whole answer is left in `answer`.
    std::string Fetch() {
        answer = Answer(0, version, 8, 0);
        const uint32_t size = Little(answer, 0);
        const Bytes data = Get(0, 0xFFFFC8029040, std::max(4u, (size + 3) / 4 * 4));
        return {data.begin(), data.begin() + size};
    }

    uint8_t version = 1;
    Bytes answer;
};

TEST_F(Console, ALineIsEchoedCarriedOutAndPrompted) {
    for (const uint32_t protocol : {1u, 3u}) {
        DescribeProtocol(protocol);
        EXPECT_EQ(Fetch(), "ready\r\n> ");
        EXPECT_EQ(answer.size(), protocol == 1 ? 28u : 4u);
        Type("kex\byz\x7fs\r");
        EXPECT_EQ(Fetch(), "kex\b \byz\b \bs\r\nMODEL (4 bytes)\r\nN") << protocol;
    }
}

TEST_F(Console, WhatDoesNotFitIsLostAndCounted) {
    DescribeProtocol(1);
    Fetch();
    Type("flood 4\r"); // 7 echoed, CR LF, 4 lines of 8, prompt: 43 into 32
    EXPECT_EQ(Fetch(), "flood 4\r\nline 1\r\nline 2\r\nline 3\r");
    EXPECT_EQ(Little(answer, 8), 11u);
    Fetch();
    EXPECT_EQ(Little(answer, 8), 0u);
}

TEST_F(Console, WhileACommandSleepsTheTypingWaits) {
    DescribeProtocol(3);
    Fetch();
    Type("sleep 100\r");
    Type("a");
    EXPECT_EQ(Fetch(), "sleep 100\r\n");
    PassMs(100);
    EXPECT_EQ(Fetch(), "> a");
}

TEST_F(Console, TheRingIsReadDirectlyInTheByteOrderOfTheTarget) {
    for (const uint32_t protocol : {2u, 0x2000000u}) {
        DescribeProtocol(protocol);
        const bool big = protocol != 2;
        const auto half = [big](const Bytes& ring, std::size_t at) {
            return big ? ring[at] << 8 | ring[at + 1] : ring[at + 1] << 8 | ring[at];
        };
        Bytes ring = Get(0, 0xFFFFC8029040, 40);
        EXPECT_EQ(half(ring, 4), 31);
        EXPECT_EQ(half(ring, 6), 9);
        EXPECT_EQ(std::string(ring.begin() + 9, ring.begin() + 18), "ready\r\n> ");
        Bytes typed = {0, 0, 0, 0, 0, 0, uint8_t(big ? 0 : 25), uint8_t(big ? 25 : 0)};
        typed.insert(typed.end(), 25, 'z');
        EXPECT_EQ(Write(0, 0xFFFFC8021040, typed), 1);
        ring = Get(0, 0xFFFFC8029040, 40);
        EXPECT_EQ(half(ring, 6), 34); // the head counts on, the places wrap
        EXPECT_EQ(std::string(ring.begin() + 8, ring.begin() + 13), "zzzad");
        EXPECT_EQ(ring[big ? 3 : 0], 1) << "lapped once";
        const Bytes erased(25, 8), help = {'h', 'e', 'l', 'p', 13};
        for (const Bytes& keys : {erased, help}) {
            typed = {0, 0, 0, 0, 0, 0, uint8_t(big ? 0 : keys.size()), uint8_t(big ? keys.size() : 0)};
            typed.insert(typed.end(), keys.begin(), keys.end());
            EXPECT_EQ(Write(0, 0xFFFFC8021040, typed), 1);
        }
        ring = Get(0, 0xFFFFC8029040, 40);
        EXPECT_EQ(half(ring, 6), 34 + 3 * 25 + 6 + 42 + 2) << "erased, echoed, carried out, prompted";
        EXPECT_EQ(std::string(ring.begin() + 8, ring.begin() + 40).find("leep MS reset\r\n> "), 15u);
    }
}

class Keys : public SimulatedBus {
protected:
    void SetUp() override {
        SimulatedBus::SetUp();
        Describe(OneTarget(SHELL + std::string(R"(, "mode": "bootloader")")));
    }
    static uint8_t NameQuadlets(const std::string& name) { return static_cast<uint8_t>((name.size() + 3) / 4); }
    // Status, size of the value, bytes in the Response Buffer, start.
    Bytes ReadPass(const std::string& name, uint32_t nameOffset, uint32_t offset) {
        const uint32_t length = static_cast<uint32_t>(name.size()) + 1;
        return Answer(0, 1, 18, static_cast<uint8_t>(3 + NameQuadlets(name)),
                      Words({length, nameOffset, offset}, name.substr(nameOffset) + '\0'));
    }
    // The status; the value travels with its quadlets turned.
    uint32_t WritePass(const std::string& name, uint32_t nameOffset, const Bytes& value, uint32_t offset) {
        Bytes payload(value.begin() + offset,
                      value.begin() + std::min<int>(static_cast<int>(value.size()), static_cast<int>(offset) + 128));
        payload.resize(128);
        for (std::size_t i = 0; i < 128; i += 4)
            std::reverse(payload.begin() + static_cast<int>(i), payload.begin() + static_cast<int>(i) + 4);
        const uint32_t length = static_cast<uint32_t>(name.size()) + 1;
        if (length - nameOffset <= 36)
            Write(0, 0xFFFFC8021040, payload);
        const Bytes answer = Answer(
            0, 1, 19, static_cast<uint8_t>(4 + NameQuadlets(name)),
            Words({length, nameOffset, static_cast<uint32_t>(value.size()), offset}, name.substr(nameOffset) + '\0'));
        EXPECT_EQ(answer.size(), 12u);
        return Little(answer, 0);
    }
};

TEST_F(Keys, AValueIsReadInPassesOf128) {
    Bytes value;
    for (int i = 0; i < 300; ++i)
        value.push_back(static_cast<uint8_t>(i));
    for (uint32_t offset = 0; offset < 300; offset += 128)
        EXPECT_EQ(WritePass("BLOB7", 0, value, offset), 0u);
    Bytes read;
    for (uint32_t offset = 0; offset < 300;) {
        const Bytes answer = ReadPass("BLOB7", 0, offset);
        EXPECT_EQ(Little(answer, 4), 300u);
        const uint32_t size = Little(answer, 8);
        EXPECT_EQ(size, std::min(128u, 300 - offset));
        const Bytes part = Get(0, 0xFFFFC8029040, 128);
        read.insert(read.end(), part.begin(), part.begin() + size);
        offset += size;
    }
    EXPECT_EQ(read, value);
}

TEST_F(Keys, ANameOfWholeQuadletsTakesASecondPassThatBringsOneByte) {
    EXPECT_EQ(Little(ReadPass("NAME", 0, 0), 8), 4u);
    const Bytes second = ReadPass("NAME", 4, 4);
    EXPECT_EQ(Little(second, 4), 4u);
    EXPECT_EQ(Little(second, 8), 1u);
}

TEST_F(Keys, ALongNameGoesAheadOfItsValue) {
    const std::string name(70, 'n');
    const Bytes value = {'a', 'b', 'c'};
    EXPECT_EQ(WritePass(name, 0, value, 0), 0u);
    EXPECT_EQ(Little(ReadPass(name, 0, 0), 0), 1u) << "not there yet";
    EXPECT_EQ(WritePass(name, 36, value, 0), 0u);
    EXPECT_EQ(Little(ReadPass(name, 0, 0), 4), 3u);
    EXPECT_EQ(Get(0, 0xFFFFC8029040, 4)[2], 'c');
}

TEST_F(Keys, WhatCanNotBeIsAStatus) {
    EXPECT_EQ(ReadPass("ABSENT", 0, 0), (Bytes{1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(WritePass("MODEL", 0, Bytes(200, 'x'), 128), 3u) << "beyond what is held";
    EXPECT_EQ(Little(Answer(0, 1, 18, 3, Words({0xFFFFFFFF, 0, 0}, {'\0'})), 0), 2u);
    EXPECT_EQ(Answer(0, 1, 12, 0), NO_ANSWER); // the store is written anew, which takes time
    PassMs(800);
    EXPECT_EQ(AnswerNow(0, 1, 12), Bytes{});
    EXPECT_EQ(Little(ReadPass("MODEL", 0, 0), 4), 4u);
}

} // namespace

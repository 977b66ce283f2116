// A target's registers, its commands in every protocol value, its resets.
#include "SimulatedBus.h"

using namespace std::string_literals;

namespace {

constexpr const char* IDENTITY = R"("hardwareModelID": 17, "hardwareVersion": "0x01000002", "mode": "bootloader",
  "application": {"id": "0x1234", "version": "0x01020304", "date": "20020831", "time": "152503"},
  "bootloader": {"version": "0x01000101", "date": "20020101", "time": "080000"},
  "debugger": {"id": 7, "version": 1, "date": "20020102", "time": "080001"})";

TEST_F(SimulatedBus, TheInfoRegistersComeInTheByteOrderOfTheProtocol) {
    const std::string little = "tarnwell????\1\1\0\1\0\x1B\x0F\0\1\0\0\0\x11\0\0\0\2\0\0\1"
                               "20020831152503\0\0\x34\x12\0\0\4\3\2\1\0\0\0\0\0\0\0\0"
                               "20020101080000\0\0"
                               "20020102080001\0\0\7\0\0\0\1\0\0\0"s;
    for (const uint32_t protocol : {1u, 2u, 3u, 0x2000000u}) {
        Describe(OneTarget(IDENTITY + std::string(R"(, "protocol": )") + std::to_string(protocol)));
        Bytes expected(little.begin(), little.end());
        for (std::size_t i = 0; i < 4; ++i) // bytes that tell the order of the other numbers
            expected[8 + i] = static_cast<uint8_t>(protocol >> 8 * i);
        for (const int number : {12, 16, 20, 24, 28, 48, 52, 96, 100})
            if (protocol == 0x2000000)
                std::reverse(expected.begin() + number, expected.begin() + number + 4);
        EXPECT_EQ(Get(0, 0xFFFFC8020000, 104), expected) << protocol;
        EXPECT_EQ(Get(0, 0xFFFFC8020000, 12), Bytes(expected.begin(), expected.begin() + 12)) << protocol;
    }
}

TEST_F(SimulatedBus, EachProtocolTakesItsOwnVersionInARequest) {
    for (const auto& [protocol, accepted] : {std::pair{1, 1}, {2, 2}, {3, 3}, {0x2000000, 1}}) {
        Describe(OneTarget(IDENTITY + std::string(R"(, "protocol": )") + std::to_string(protocol)));
        for (uint8_t version = 0; version < 5; ++version)
            EXPECT_EQ(Answer(0, version, 15, 0) != NO_ANSWER, version == accepted) << protocol << "/" << +version;
    }
}

TEST_F(SimulatedBus, CommandsAnswerWithTheirOperands) {
    const Bytes none;
    const struct {
        const char* name;
        uint8_t code, count;
        Bytes operands, answer;
    } rows[] = {
        {"halt", 1, 0, none, none},
        {"shell", 7, 2, Bytes(8, 0), none},
        {"MAC", 11, 2, {2, 1, 0, 0, 6, 5, 4, 3}, none},
        {"debug GUID set", 14, 2, {1, 2, 3, 4, 5, 6, 7, 8}, none},
        {"debug GUID read back in natural order", 15, 0, none, {1, 2, 3, 4, 5, 6, 7, 8}},
        {"GUID", 10, 2, {0x00, 0x1B, 0x0F, 0x00, 9, 0, 0, 0}, none},
        {"factory defaults get no answer", 13, 0, none, NO_ANSWER},
        {"start of no image", 17, 1, {1, 0, 0, 0}, {0xFF, 0xFF, 0xFF, 0xFF}},
        {"a code that is none", 16, 0, none, NO_ANSWER},
        {"too few operands", 14, 2, {1, 2, 3, 4}, NO_ANSWER},
        {"a wrong count", 14, 1, Bytes(8, 1), NO_ANSWER},
    };
    Describe(OneTarget(IDENTITY));
    for (const auto& row : rows)
        EXPECT_EQ(Answer(0, 1, row.code, row.count, row.operands), row.answer) << row.name;
    EXPECT_EQ(Get(0, 0xFFFFC8020010, 8), (Bytes{0x00, 0x1B, 0x0F, 0x00, 9, 0, 0, 0}));
    EXPECT_EQ(Get(0, 0xFFFFF0000410, 4), (Bytes{0, 0, 0, 1})) << "the ROM follows at the next start";
}

TEST_F(SimulatedBus, AnAnswerThatTakesTimeLeavesTheOldOneInPlace) {
    Describe(OneTarget(IDENTITY + std::string(R"(, "answerMs": 50, "eraseMs": 300)")));
    EXPECT_EQ(Answer(0, 1, 15, 0), NO_ANSWER);
    PassMs(50);
    EXPECT_EQ(AnswerNow(0, 1, 15).size(), 8u);
    const uint8_t idBefore = id;
    EXPECT_EQ(Command(0, 1, 12, 0)[4], idBefore);
    PassMs(200);
    Write(0, 0xFFFFC8021000, {1, 0, 0, 0, 77, 0, 15, 0}); // while it is busy nobody reads it
    PassMs(150);
    EXPECT_EQ(AnswerNow(0, 1, 12), Bytes{});
}

TEST_F(SimulatedBus, AResetLeavesTheBusAndComesBackInTheModeAskedFor) {
    Describe(OneTarget(IDENTITY + std::string(R"(, "rebootMs": 600)")));
    const struct {
        const char* name;
        uint8_t code, operand;
        bool bootloader, stays;
    } rows[] = {{"into the application", 2, 0, false, false},
                {"into the bootloader", 2, 1, true, false},
                {"start of the application", 17, 0, false, false},
                {"the application knows no start", 17, 0, false, true}};
    for (const auto& row : rows) {
        notices.clear();
        EXPECT_EQ(Answer(0, 1, row.code, 1, {row.operand, 0, 0, 0}), NO_ANSWER) << row.name;
        PassMs(300);
        EXPECT_EQ(NodeCount(), row.stays ? 2 : 1) << row.name;
        PassMs(301);
        EXPECT_EQ(NodeCount(), 2) << row.name;
        EXPECT_EQ(notices.size(), row.stays ? 0u : 2u) << row.name;
        EXPECT_EQ(Little(Get(0, 0xFFFFC802000C, 4), 0) != 0, row.bootloader) << row.name;
    }
}

TEST_F(SimulatedBus, AResetDuringATransactionInterruptsItWithoutEffect) {
    Describe(OneTarget(IDENTITY, R"(, "transactionMicroseconds": 700)"));
    EXPECT_EQ(Write(0, 0xFFFFC8021000, {1, 0, 0, 0, 1, 0, 2, 1, 1, 0, 0, 0}), 1);
    Bytes data;
    EXPECT_EQ(Read(0, 0xFFFFC8020000, 12, data), 1);
    EXPECT_EQ(Read(0, 0xFFFFC8020000, 12, data), static_cast<int32_t>(0x80000001)); // it leaves after 1 ms
    EXPECT_EQ(data, Bytes(12, 0xEE));
    EXPECT_EQ(notices, std::vector<uint32_t>{1326});
}

} // namespace

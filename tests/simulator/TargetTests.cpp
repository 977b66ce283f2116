// A target's registers, its commands in every protocol value, its resets.
#include "SimulatedBus.h"

namespace {

constexpr const char* IDENTITY = R"("hardwareModelID": 17, "hardwareVersion": "0x01000002", "mode": "bootloader",
  "application": {"id": "0x1234", "version": "0x01020304", "date": "20020831", "time": "152503"},
  "bootloader": {"version": "0x01000101", "date": "20020101", "time": "080000"},
  "debugger": {"id": 7, "version": 1, "date": "20020102", "time": "080001"})";

Bytes Concatenate(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

Bytes Text(const std::string& text) {
    Bytes bytes(text.begin(), text.end());
    bytes.resize(8);
    return bytes;
}

TEST_F(SimulatedBus, TheInfoRegistersComeInTheByteOrderOfTheProtocol) {
    for (const uint32_t protocol : {1u, 2u, 3u, 0x2000000u}) {
        Describe(OneTarget(IDENTITY + std::string(R"(, "protocol": )") + std::to_string(protocol)));
        const bool big = protocol == 0x2000000;
        const auto quadlet = [big](uint8_t a, uint8_t b, uint8_t c, uint8_t d) {
            return big ? Bytes{a, b, c, d} : Bytes{d, c, b, a};
        };
        const Bytes version = {static_cast<uint8_t>(big ? 0 : protocol), 0, 0, static_cast<uint8_t>(big ? 2 : 0)};
        const Bytes expected =
            Concatenate({Text("tarnwell"), version, quadlet(1, 0, 1, 1), quadlet(0x00, 0x0F, 0x1B, 0x00),
                         quadlet(0, 0, 0, 1), quadlet(0, 0, 0, 17), quadlet(1, 0, 0, 2), Text("20020831"),
                         Text("152503"), quadlet(0, 0, 0x12, 0x34), quadlet(1, 2, 3, 4), Bytes(8, 0), Text("20020101"),
                         Text("080000"), Text("20020102"), Text("080001"), quadlet(0, 0, 0, 7), quadlet(0, 0, 0, 1)});
        EXPECT_EQ(Get(0, 0xFFFFC8020000, 104), expected) << protocol;
        EXPECT_EQ(Get(0, 0xFFFFC8020000, 12), Bytes(expected.begin(), expected.begin() + 12)) << protocol;
    }
}

TEST_F(SimulatedBus, ARequestIsEchoedInItsAnswer) {
    Describe(OneTarget(IDENTITY));
    ASSERT_EQ(Write(0, 0xFFFFC8021000, {1, 0, 0, 0, 5, 0, 0x0F, 0}), 1);
    Bytes expected = {1, 0, 0, 0, 5, 0, 0x0F, 2, 0x00, 0x0F, 0x1B, 0, 0, 0, 0, 1};
    expected.resize(40);
    EXPECT_EQ(Get(0, 0xFFFFC8029000, 40), expected);
}

TEST_F(SimulatedBus, EachProtocolTakesItsOwnVersionInARequest) {
    struct Row {
        uint32_t protocol;
        uint8_t accepted;
    };
    for (const Row& row : {Row{1, 1}, Row{2, 2}, Row{3, 3}, Row{0x2000000, 1}}) {
        Describe(OneTarget(IDENTITY + std::string(R"(, "protocol": )") + std::to_string(row.protocol)));
        for (uint8_t version = 0; version < 5; ++version) {
            EXPECT_EQ(Answer(0, version, 15, 0) != NO_ANSWER, version == row.accepted)
                << row.protocol << "/" << +version;
        }
    }
}

TEST_F(SimulatedBus, CommandsAnswerWithTheirOperands) {
    struct Row {
        const char* name;
        uint8_t code, count;
        Bytes operands, answer;
    };
    const Bytes none;
    const Row rows[] = {
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
    for (const Row& row : rows) {
        EXPECT_EQ(Answer(0, 1, row.code, row.count, row.operands), row.answer) << row.name;
    }
    EXPECT_EQ(Get(0, 0xFFFFC8020010, 8), (Bytes{0x00, 0x1B, 0x0F, 0x00, 9, 0, 0, 0}));
    EXPECT_EQ(Get(0, 0xFFFFF0000410, 4), (Bytes{0, 0, 0, 1})) << "the ROM follows at the next start";
}

TEST_F(SimulatedBus, AnAnswerThatTakesTimeLeavesTheOldOneInPlace) {
    Describe(OneTarget(IDENTITY + std::string(R"(, "answerMs": 50, "eraseMs": 300)")));
    EXPECT_EQ(Answer(0, 1, 15, 0), NO_ANSWER);
    clock.PassMs(50);
    EXPECT_EQ(AnswerNow(0, 1, 15).size(), 8u);
    const uint8_t idBefore = id;
    EXPECT_EQ(Command(0, 1, 12, 0)[4], idBefore);
    clock.PassMs(200);
    Write(0, 0xFFFFC8021000, {1, 0, 0, 0, 77, 0, 15, 0}); // while it is busy nobody reads it
    clock.PassMs(150);
    EXPECT_EQ(AnswerNow(0, 1, 12), Bytes{});
}

TEST_F(SimulatedBus, AResetLeavesTheBusAndComesBackInTheModeAskedFor) {
    Describe(OneTarget(IDENTITY + std::string(R"(, "rebootMs": 600)")));
    struct Row {
        const char* name;
        uint8_t code;
        Bytes operands;
        bool bootloader;
    };
    const Row rows[] = {{"into the application", 2, {0}, false},
                        {"into the bootloader", 2, {1}, true},
                        {"start of the application", 17, {0, 0, 0, 0}, false},
                        {"the application knows no start", 17, {0, 0, 0, 0}, false}};
    for (const Row& row : rows) {
        notices.clear();
        const bool runsApplication = Little(Get(0, 0xFFFFC802000C, 4), 0) == 0;
        EXPECT_EQ(Answer(0, 1, row.code, 1, row.operands), NO_ANSWER) << row.name;
        const bool stays = runsApplication && row.code == 17;
        clock.PassMs(300);
        EXPECT_EQ(NodeCount(), stays ? 2 : 1) << row.name;
        clock.PassMs(301);
        EXPECT_EQ(NodeCount(), 2) << row.name;
        EXPECT_EQ(notices.size(), stays ? 0u : 2u) << row.name;
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

TEST_F(SimulatedBus, TheRunningApplicationAnswersTheShellAlone) {
    Describe(OneTarget(R"("mode": "application")"));
    for (const uint8_t code : {1, 3, 6, 12, 15}) {
        EXPECT_EQ(Answer(0, 1, code, code == 3 ? 1 : 0, Bytes(code == 3 ? 4 : 0, 0)), NO_ANSWER) << +code;
    }
    EXPECT_NE(Answer(0, 1, 8, 0), NO_ANSWER);
    EXPECT_EQ(Answer(0, 1, 7, 2, Bytes(8, 0)), Bytes{});
}

} // namespace

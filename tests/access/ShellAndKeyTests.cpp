// The console of each protocol generation, and the keys.
#include "SimulatedBus.h"

namespace {

const char* const SHELL = R"("keys": {"MODEL": "TX-9", "NAME": "abcd"}, "shell": {"banner": "ready\r\n", "ring": 32})";

class Console : public SimulatedBus {
protected:
    void DescribeProtocol(uint32_t value) {
        Describe(OneTarget(SHELL + std::string(R"(, "mode": "bootloader", "protocol": )") + std::to_string(value)));
    }
    void Type(const std::string& typed) {
        Write(0, REQUEST_BUFFER, Bytes(typed.begin(), typed.end()));
        EXPECT_NE(Answer(0, 1, WRITE_SHELL, 1, {static_cast<uint8_t>(typed.size()), 0, 0, 0}), NO_ANSWER);
    }
    // The waiting output, by command 8; the whole answer is in `answer`.
    std::string Fetch() {
        answer = Answer(0, 1, READ_SHELL, 0);
        const uint32_t size = Little(answer, 0);
        const Bytes data = Get(0, RESPONSE_BUFFER, std::max(4u, (size + 3) / 4 * 4));
        return {data.begin(), data.begin() + size};
    }

    Bytes answer;
};

TEST_F(Console, LosesOutputThatDoesNotFitAndAcceptsNothingWhileACommandSleeps) {
    DescribeProtocol(1);
    Fetch();
    Type("flood 4\r"); // 7 echoed, CR LF, 4 lines of 8, prompt: 43 into 32
    EXPECT_EQ(Fetch(), "flood 4\r\nline 1\r\nline 2\r\nline 3\r");
    EXPECT_EQ(answer.size(), 28u);
    EXPECT_EQ(Little(answer, 4), 0x80000001u);
    EXPECT_EQ(Little(answer, 8), 11u);
    Type("sleep 100\r");
    Type("a");
    EXPECT_EQ(Fetch(), "sleep 100\r\n");
    EXPECT_EQ(Little(answer, 8), 0u);
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

TEST_F(Console, AnImpossibleKeyIsAnsweredWithAStatus) {
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

} // namespace

// Repeats a session at a target's console, with a bus reset after each of its transactions in turn. No character
// arrives twice, and each missing one has been reported.
#include "HeadlessProgram.h"

#include "Levels.h"
#include "basBootloader.h"

#include <iostream>

#include <gtest/gtest.h>

using namespace testing_support;

namespace {

struct Outcome {
    std::string text, lastLine; // everything that was read; the output of the last line
    bool lossReported = false;
    std::uint64_t start = 0, end = 0; // of the session without its last line, in transactions
};

struct Terminal {
    Terminal(std::int32_t protocol, const std::string& faults)
        : program(fmt::format(R"({{"nodes": [{{"kind": "target", "guid": "000F1B0000000001", "protocol": {},
                                 "shell": {{"ring": 1024}}}}, {{"kind": "device"}}, {{"kind": "host"}}],
                                 "faults": [{}]}})",
                              protocol, faults),
                  LEVEL_ERROR),
          readsOnce(protocol == 1 || protocol == 3) {
        program.Run("", 3000);
        handle = basBootloader::globals.TargetList.front().Handle;
    }
    void Type(const std::string& line) {
        for (int i = 0; i < 50; ++i) { // a user retries if certainly nothing was sent
            const std::uint64_t before = SimulatorTransactions();
            if (basBootloader::WriteShellCharacters(handle, {line.begin(), line.end()}) == 1)
                break;
            if (SimulatorTransactions() != before) {
                outcome.lossReported = true;
                break;
            }
            program.Pass(50);
        }
        for (int i = 0; i < 4; ++i)
            Poll();
    }
    void Poll() {
        program.Pass(50);
        const std::uint64_t before = SimulatorTransactions();
        ByteArray data;
        if (basBootloader::ReadShellCharacters(handle, data, true) != 1)
            outcome.lossReported |= readsOnce && SimulatorTransactions() != before; // a ring can be read again
        else if (data != ByteArray{0})
            outcome.text.append(data.begin(), data.end());
    }
    HeadlessProgram program;
    const bool readsOnce;
    std::int32_t handle = 0;
    Outcome outcome;
};

Outcome Session(std::int32_t protocol, const std::string& faults) {
    Terminal terminal(protocol, faults);
    Outcome& outcome = terminal.outcome;
    outcome.start = SimulatorTransactions();
    for (const char* line : {"help\r", "flood 12\r", "vfr\b\bersion\r", "flood 7\r"})
        terminal.Type(line);
    outcome.end = SimulatorTransactions();
    terminal.Type("\r"); // triggers a fault that waits for another write
    terminal.program.Pass(3000);
    terminal.Poll();
    const std::size_t before = outcome.text.size();
    terminal.Type("keys no more\r");
    outcome.lastLine = outcome.text.substr(before);
    outcome.lossReported |= terminal.program.lostCharacters > 0;
    return outcome;
}

bool IsPartOf(const std::string& text, const std::string& whole) {
    std::size_t at = 0;
    for (const char character : whole)
        at += at < text.size() && text[at] == character;
    return at == text.size();
}

TEST(ShellSweep, ABusResetAfterAnyTransactionRepeatsNothingAndLosesNothingUnreported) {
    int runs = 0, reported = 0;
    for (const std::int32_t protocol : {1, 2, 0x2000000, 3}) {
        const Outcome undisturbed = Session(protocol, "");
        ASSERT_FALSE(undisturbed.lossReported);
        ASSERT_NE(undisturbed.text.find("line 12\r\n> vfr\b \b\b \bersion\r\n"), std::string::npos);
        // Between two transactions, in the next read, in the next write.
        for (const char* where : {"", R"("operation": "read", )", R"("operation": "write", )"})
            for (std::uint64_t k = undisturbed.start; k + 3 <= undisturbed.end; ++k, ++runs) {
                const std::string fault = fmt::format(R"({{{}"afterTransactions": {}, "do": "busReset"}})", where, k);
                SCOPED_TRACE(testing::Message() << "protocol " << protocol << ", " << fault);
                const Outcome outcome = Session(protocol, fault);
                reported += outcome.lossReported;
                EXPECT_TRUE(outcome.lossReported || outcome.text == undisturbed.text) << outcome.text;
                EXPECT_TRUE(IsPartOf(outcome.text, undisturbed.text)) << outcome.text;
                EXPECT_EQ(outcome.lastLine, undisturbed.lastLine) << "the session is dead";
            }
    }
    EXPECT_GT(reported, 0) << "the faults don't occur";
    std::cout << runs << " sessions with a bus reset, " << reported << " of them reported a loss\n";
}

} // namespace

// One whole unattended load, over and over, with something going wrong behind each of its
// transactions in turn. It may fail, but it must say so; and what it calls a success must be one.
#include "HeadlessProgram.h"
#include "PackageBuilder.h"

#include <functional>
#include <iostream>

#include <gtest/gtest.h>

using namespace testing_support;

namespace {

constexpr std::int32_t ERROR_LEVEL = 11;
const ByteArray IMAGE = Pattern(2500); // three blocks

std::string QuietBus(const std::string& faults) {
    return R"({"nodes": [)" + Target("000F1B0000000001", "application") +
           R"(, {"kind": "device"}, {"kind": "host"}], "faults": [)" + faults + "]}";
}

struct Outcome {
    bool ended = false, saidLoaded = false, saidError = false, identical = false;
    std::size_t nodes = 0;
    std::uint64_t transactions = 0;
};

// `faults` are those of the bus description; `trouble` is set up behind it.
Outcome RunWith(const std::string& faults, const std::function<void()>& trouble) {
    HeadlessProgram program(QuietBus(faults), ERROR_LEVEL);
    program.Write("app.twd", Package(IMAGE));
    trouble();
    Outcome outcome;
    outcome.ended = program.Run("/D app.twd");
    outcome.saidLoaded = program.Said("Successfully loaded new");
    outcome.saidError = program.SaidAtLevel(ERROR_LEVEL);
    outcome.identical = program.Flash(0, "application") == IMAGE;
    outcome.nodes = program.nodesAtEnd;
    outcome.transactions = SimulatorTransactions();
    return outcome;
}

const Outcome& Undisturbed() {
    static const Outcome outcome = RunWith("", [] {});
    return outcome;
}

void ExpectHonest(const Outcome& outcome) {
    EXPECT_TRUE(outcome.ended) << "the program hangs";
    EXPECT_TRUE(outcome.identical || !outcome.saidLoaded) << "a success with a different flash";
    EXPECT_TRUE(outcome.saidLoaded || outcome.saidError) << "neither a success nor a word about the failure";
}

// Counts the runs of a test and prints them.
class Sweep : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(Undisturbed().ended && Undisturbed().saidLoaded && Undisturbed().identical);
        ASSERT_EQ(Undisturbed().nodes, 2u);
        ASSERT_FALSE(Undisturbed().saidError);
    }
    void TearDown() override {
        EXPECT_GT(disturbed_, runs_ / 2) << "the trouble doesn't happen";
        std::cout << runs_ << " runs of " << Undisturbed().transactions << " transactions each, " << loads_
                  << " of them loaded\n";
    }
    Outcome Run(
        const std::string& faults, const std::function<void()>& trouble = [] {}) {
        const Outcome outcome = RunWith(faults, trouble);
        ++runs_;
        loads_ += outcome.saidLoaded;
        disturbed_ += outcome.transactions != Undisturbed().transactions;
        ExpectHonest(outcome);
        return outcome;
    }
    int runs_ = 0, loads_ = 0, disturbed_ = 0;
};

TEST_F(Sweep, ABusResetBehindAnyTransactionEndsInALoadOrAClearFailure) {
    for (std::uint64_t k = 1; k <= Undisturbed().transactions; ++k) {
        SCOPED_TRACE(k);
        EXPECT_EQ(Run("", [k] { SimulatorResetAfter(k); }).nodes, 2u) << "the node table isn't complete";
    }
}

TEST_F(Sweep, AFailedTransactionEndsInALoadOrAClearFailure) {
    constexpr std::uint64_t STRIDE = 11;
    for (const std::uint32_t code : {121u, 0x80000102u, 0x80000017u, 0x8000013Du, 0x80000002u, 0x80000001u}) {
        for (std::uint64_t k = 0; k < Undisturbed().transactions; k += STRIDE) {
            for (const std::uint64_t count : {1, 5}) {
                SCOPED_TRACE(testing::Message() << code << " behind " << k << ", " << count << " times");
                Run("", [=] { SimulatorFailNext(k, count, static_cast<std::int32_t>(code)); });
            }
        }
    }
}

TEST_F(Sweep, ADeviceThatVanishesForGoodEndsInALoadOrAClearFailure) {
    constexpr std::uint64_t STRIDE = 3;
    for (std::uint64_t k = 1; k < Undisturbed().transactions; k += STRIDE) {
        SCOPED_TRACE(k);
        Run(R"({"node": 0, "do": "unplug", "afterTransactions": )" + std::to_string(k) + "}");
    }
}

} // namespace

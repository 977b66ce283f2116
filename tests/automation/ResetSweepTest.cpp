// Repeats a whole unattended load, with a fault after each of its transactions in turn. It may fail, but must report
// so, and its verdict must agree with the flash.
#include "HeadlessProgram.h"
#include "Levels.h"
#include "PackageBuilder.h"
#include "basAutomation.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <iostream>

#include <gtest/gtest.h>

using namespace testing_support;

namespace {

const ByteArray IMAGE = Pattern(2500); // three blocks

// Counts the runs of a test and prints them.
class Sweep : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(Run(""), 2U);
        ASSERT_EQ(loads_, 1);
        undisturbed = transactions_;
        runs_ = loads_ = disturbed_ = unknown_ = 0;
    }
    void TearDown() override {
        EXPECT_GT(disturbed_, runs_ / 2) << "the faults don't occur";
        EXPECT_LT(unknown_, runs_ / 10);
        std::cout << runs_ << " runs of " << undisturbed << " transactions each, " << loads_ << " of them loaded, "
                  << unknown_ << " with an unknown state\n";
    }
    // One load; `faults` are those of the bus description, `trouble` is set up after it. Returns the number of nodes at
    // the end.
    std::size_t Run(
        const std::string& faults, const std::function<void()>& trouble = [] {}) {
        HeadlessProgram program(R"({"stateDirectory": "bus-state", "nodes": [)" +
                                    Target("000F1B0000000001", "application") +
                                    R"(, {"kind": "device"}, {"kind": "host"}], "faults": [)" + faults + "]}",
                                LEVEL_ERROR);
        program.Write("app.twd", Package(IMAGE));
        trouble();
        EXPECT_TRUE(program.Run("/D app.twd")) << "the program hangs";
        const bool loaded = program.Said("Successfully loaded new");
        const auto isError = [](const testing_support::Message& message) { return message.level == LEVEL_ERROR; };
        EXPECT_TRUE(!loaded || program.Flash(0, "application") == IMAGE) << "a success with a different flash";
        EXPECT_TRUE(loaded || std::ranges::any_of(program.messages, isError)) << "the failure isn't reported";
        const basApp::RunVerdict& verdict = basAutomation::globals.Verdict;
        const basApp::FlashState flash = verdict.Flash();
        const bool erased = std::filesystem::exists(
            program.directory.file("bus-state/000F1B0000000001/application.bin")); // there from the erase on
        EXPECT_NE(verdict.Outcome, basApp::OutcomeKind::Pending);
        EXPECT_EQ(verdict.Outcome == basApp::OutcomeKind::Done, loaded);
        EXPECT_EQ(flash == basApp::FlashState::Identical, loaded);
        EXPECT_TRUE(flash == basApp::FlashState::Unknown || (flash != basApp::FlashState::Unchanged) == erased);
        ++runs_;
        unknown_ += flash == basApp::FlashState::Unknown;
        loads_ += loaded;
        transactions_ = SimulatorTransactions();
        disturbed_ += transactions_ != undisturbed;
        return program.nodesAtEnd;
    }
    std::uint64_t undisturbed = 0; // transactions of a run

private:
    int runs_ = 0, loads_ = 0, disturbed_ = 0, unknown_ = 0;
    std::uint64_t transactions_ = 0; // of the last run
};

TEST_F(Sweep, ABusResetAfterAnyTransactionEndsInALoadOrAClearFailure) {
    for (std::uint64_t k = 1; k <= undisturbed; ++k) {
        SCOPED_TRACE(k);
        EXPECT_EQ(Run("", [k] { SimulatorResetAfter(k); }), 2U) << "the node table isn't complete";
    }
}

TEST_F(Sweep, AFailedTransactionEndsInALoadOrAClearFailure) {
    constexpr std::uint64_t STRIDE = 11;
    for (const std::uint32_t code : {121u, 0x80000102u, 0x80000017u, 0x8000013Du, 0x80000002u, 0x80000001u})
        for (std::uint64_t k = 0; k < undisturbed; k += STRIDE)
            for (const std::uint64_t count : {1, 5}) {
                SCOPED_TRACE(testing::Message() << code << " after " << k << ", " << count << " times");
                Run("", [=] { SimulatorFailNext(k, count, static_cast<std::int32_t>(code)); });
            }
}

TEST_F(Sweep, ADeviceThatVanishesPermanentlyEndsInALoadOrAClearFailure) {
    constexpr std::uint64_t STRIDE = 3;
    for (std::uint64_t k = 1; k < undisturbed; k += STRIDE) {
        SCOPED_TRACE(k);
        Run(R"({"node": 0, "do": "unplug", "afterTransactions": )" + std::to_string(k) + "}");
    }
}

} // namespace

// Repeats hoistline load, with a fault or an end after each of its transactions in turn: whatever happens, the record
// has to agree with the device.
#include "CommandTest.h"
#include "EndRequest.h"
#include "PackageBuilder.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>

#include <nlohmann/json.hpp>

using namespace testing_support;

namespace {

const ByteArray IMAGE = Pattern(2500), CONFIG = Pattern(700);
constexpr const char* GUID = "000F1B0000000001";

class LoadSweep : public CommandTest {
protected:
    void SetUp() override {
        ASSERT_EQ(Run(
                      "", [] {}, {}, R"("trace": "trace.jsonl", )"),
                  "done");
        undisturbed_ = transactions_;
        ReadTimes();
        ASSERT_EQ(times_.size(), undisturbed_);
        verdicts_.clear();
        unknown_ = 0;
    }
    void TearDown() override {
        int runs = 0;
        std::cout << undisturbed_ << " transactions each:";
        for (const auto& [verdict, count] : verdicts_) {
            std::cout << " " << count << " " << verdict << ",";
            runs += count;
        }
        std::cout << " in " << runs << " runs; " << unknown_ << " with an unknown state of the flash\n";
        EXPECT_LT(unknown_, std::max(runs / 10, 2));
    }
    // One load of a device that runs its application. `trouble` is set up when the bus is there. The verdict.
    std::string Run(
        const std::string& faults, const std::function<void()>& trouble = [] {},
        const std::vector<std::string>& options = {}, const std::string& busOptions = {}) {
        UseBus("{" + busOptions + R"("stateDirectory": "bus-state", "nodes": [)" + Target(GUID, "application") +
               R"(, {"kind": "device"}, {"kind": "host"}], "faults": [)" + faults + "]}");
        program->Write("app.twd", Package(IMAGE, CONFIG));
        trouble();
        std::vector<std::string> arguments{"load", program->directory.file("app.twd")};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const cli::Json record = Record(arguments);
        transactions_ = SimulatorTransactions();
        const std::string verdict = record["verdict"];
        ++verdicts_[verdict];
        unknown_ += record["flash"] == "unknown";
        CheckFlash(record, verdict);
        CheckMode(record);
        return verdict;
    }
    std::uint64_t undisturbed_ = 0;   // transactions of a run
    std::vector<std::int64_t> times_; // of each, from the call's start on, in ns

private:
    void CheckFlash(const cli::Json& record, const std::string& verdict) const {
        const std::string flash = record["flash"];
        const bool identical = program->Flash(0, "application") == IMAGE && program->Flash(0, "config") == CONFIG;
        const bool erased = std::filesystem::exists(
            program->directory.file(std::string("bus-state/") + GUID + "/application.bin")); // there from the erase on
        EXPECT_TRUE(verdict != "done" || (flash == "identical" && record["mode"] == "application")) << record;
        EXPECT_TRUE(flash != "identical" || identical);
        EXPECT_TRUE(flash != "unchanged" || !erased);
        EXPECT_TRUE(flash != "damaged" || erased);
        const bool ended = verdict == "interrupted" || verdict == "timed-out";
        EXPECT_TRUE(ended || (verdict == "damaged") == (flash == "damaged" || flash == "unknown")) << verdict << flash;
        EXPECT_TRUE(verdict != "failed" || (flash == "identical" && record["mode"] != "application")) << record;
        EXPECT_NE(verdict, "refused");
    }
    // The mode, where the record has one, is what another call finds, unless the device has vanished meanwhile or the
    // trouble goes on.
    void CheckMode(const cli::Json& record) {
        const auto isMode = [](const cli::Json& text) { return text == "application" || text == "bootloader"; };
        if (!isMode(record["mode"]))
            return;
        program->Pass(3000);
        const cli::Json list = Record({"list"});
        ASSERT_EQ(list["verdict"], "done");
        for (const auto& node : list["answer"]["nodes"])
            EXPECT_TRUE(node["guid"] != GUID || !isMode(node["state"]) || node["state"] == record["mode"]) << record;
    }
    void ReadTimes() {
        std::ifstream trace(program->directory.file("trace.jsonl"));
        for (std::string line; times_.size() < undisturbed_ && std::getline(trace, line);) {
            const auto entry = nlohmann::json::parse(line);
            if (entry["operation"] == "read" || entry["operation"] == "write")
                times_.push_back(std::llround(entry["ms"].get<double>() * 1e6));
        }
    }

    std::map<std::string, int> verdicts_;
    int unknown_ = 0;
    std::uint64_t transactions_ = 0; // of the last load
};

constexpr std::size_t TENTH = 10;

TEST_F(LoadSweep, ABusResetAfterAnyTransaction) {
    for (std::uint64_t k = 1; k <= undisturbed_; ++k) {
        SCOPED_TRACE(k);
        Run("", [k] { SimulatorResetAfter(k); });
    }
}

TEST_F(LoadSweep, AFailedTransaction) {
    constexpr std::uint64_t STRIDE = 19;
    for (const std::uint32_t code : {121u, 0x80000102u, 0x80000017u, 0x8000013Du, 0x80000002u, 0x80000001u})
        for (std::uint64_t k = 0; k < undisturbed_; k += STRIDE)
            for (const std::uint64_t count : {1, 5}) {
                SCOPED_TRACE(testing::Message() << code << " after " << k << ", " << count << " times");
                Run("", [=] { SimulatorFailNext(k, count, static_cast<std::int32_t>(code)); });
            }
}

TEST_F(LoadSweep, ADeviceThatVanishes) {
    constexpr std::uint64_t STRIDE = 3;
    for (std::uint64_t k = 1; k < undisturbed_; k += STRIDE) {
        SCOPED_TRACE(k);
        Run(R"({"node": 0, "do": "unplug", "afterTransactions": )" + std::to_string(k) + "}");
    }
}

TEST_F(LoadSweep, ASignalAtEveryTenthTransaction) {
    for (std::size_t k = 0; k < times_.size(); k += TENTH) {
        SCOPED_TRACE(k);
        const std::string verdict =
            Run("", [&] { program->clock.CallAt(program->clock.Now() + times_[k], platform::RequestEnd); });
        EXPECT_TRUE(verdict == "interrupted" || verdict == "done") << verdict;
    }
}

TEST_F(LoadSweep, ATimeLimitAtEveryTenthTransaction) {
    for (std::size_t k = TENTH / 2; k < times_.size(); k += TENTH) {
        SCOPED_TRACE(k);
        const std::string verdict =
            Run("", [] {}, {"--timeout", fmt::format("{:.6f}", static_cast<double>(times_[k]) / 1e9)});
        EXPECT_TRUE(verdict == "timed-out" || verdict == "done") << verdict;
    }
}

} // namespace

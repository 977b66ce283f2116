// What goes wrong on a real bus while the program works: it ends, tells the truth about the flash, and leaves nothing
// open.
#include "KernelProgram.h"

#include "bas1394.h"
#include "basAutomation.h"
#include "basBootloader.h"

#include <cerrno>
#include <iostream>

#include <linux/firewire-constants.h>

using namespace testing_support;

namespace {

constexpr const char* GUID = "000F1B0000000001";
constexpr const char* CAMERA = R"({"kind": "device"})";
constexpr std::uint32_t CAMERA_INDEX = 0, TARGET_INDEX = 1; // of the simulated nodes
constexpr const char *CAMERA_FILE = "fw1", *TARGET_FILE = "fw2";

using Change = std::function<void(KernelProgram&)>;

std::string BusOf(const std::vector<std::string>& others) {
    std::string nodes;
    for (const std::string& other : others)
        nodes += other + ", ";
    return R"({"nodes": [)" + std::string(CAMERA) + ", " + Target(GUID, "application") + ", " + nodes +
           R"({"kind": "host"}]})";
}

std::size_t DescriptorsOfProcess() {
    const auto folder = std::filesystem::directory_iterator("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(folder), end(folder)));
}

class BadDay : public testing::Test {
protected:
    void TearDown() override { std::cout << runs << " runs, " << loads << " of them loaded\n"; }
    // True when the load has succeeded.
    bool Load(const Change& change, const std::vector<std::string>& otherNodes = {}) {
        bool loaded = false;
        {
            KernelProgram run(BusOf(otherNodes));
            change(run);
            EXPECT_TRUE(run.program.Run("/D app.twd")) << "the program hangs";
            loaded = run.program.Said("Successfully loaded new");
            EXPECT_EQ(basAutomation::globals.Verdict.Outcome == basApp::OutcomeKind::Done, loaded);
            EXPECT_EQ(basAutomation::globals.Verdict.Flash() == basApp::FlashState::Identical, loaded);
            EXPECT_TRUE(!loaded || run.program.Flash(TARGET_INDEX, "application") == run.IMAGE)
                << "a success with a different flash";
            EXPECT_TRUE(loaded || !run.program.messages.empty()) << "the failure isn't reported";
        }
        static const std::size_t afterTheFirst = DescriptorsOfProcess(); // the process keeps some
        EXPECT_EQ(DescriptorsOfProcess(), afterTheFirst);
        ++runs;
        loads += loaded;
        return loaded;
    }
    int runs = 0, loads = 0;
};

enum class Interruption { After, Before, AnswerLost };

// A bus reset of the kernel's own at the k-th transaction of the program.
struct Reset {
    int k;
    Interruption how;
    int transactions = 0; // of the program
    Bytes written = {};   // by the k-th
};

Change With(Reset& reset) {
    return [&reset](KernelProgram& run) {
        run.kernel.answer = [&reset, carry = run.kernel.answer](const SentRequest& request) {
            if (++reset.transactions != reset.k)
                return carry(request);
            reset.written = request.data;
            const std::optional<Reply> reply = reset.how == Interruption::Before ? std::nullopt : carry(request);
            SimulatorBusReset();
            return reset.how == Interruption::After ? reply : Reply{RCODE_GENERATION, {}};
        };
    };
}

// A request that announces or ends a load is sent once: the device may have carried it out.
bool IsSentOnce(const Bytes& written) {
    constexpr std::size_t code = 6;
    return written.size() > code && written.size() < 100 && (written[code] == 4 || written[code] == 6);
}

TEST_F(BadDay, ABusResetAtAnyTransactionCostsRetriesAndNotTheLoad) {
    constexpr int STRIDE = 5;
    Reset none{0, Interruption::After};
    ASSERT_TRUE(Load(With(none)));
    int disturbed = 0;
    for (const Interruption how : {Interruption::After, Interruption::Before, Interruption::AnswerLost})
        for (int k = 1 + static_cast<int>(how); k <= none.transactions; k += STRIDE) {
            SCOPED_TRACE(testing::Message() << k << " " << static_cast<int>(how));
            Reset reset{k, how};
            const bool loaded = Load(With(reset));
            EXPECT_TRUE(loaded || (how != Interruption::After && IsSentOnce(reset.written)));
            disturbed += reset.transactions != none.transactions;
        }
    EXPECT_GT(disturbed, runs / 2) << "the resets don't occur";
}

// The node acknowledges each request and never answers: the kernel says so after its split time-out.
void SilenceFrom(KernelProgram& run, const char* file, std::int64_t milliseconds) {
    run.After(milliseconds, [&run, file] {
        run.kernel.answer = [&run, file,
                             carry = run.kernel.answer](const SentRequest& request) -> std::optional<Reply> {
            if (request.file != file)
                return carry(request);
            run.program.clock.Sleep(2'000'000'000);
            return Reply{RCODE_CANCELLED, {}};
        };
    });
}

void LosePermission(KernelProgram& run, std::int64_t from, std::int64_t until) {
    run.After(from, [&run] {
        run.kernel.SetErrors(TARGET_FILE, EACCES);
        run.kernel.RemoveFile(TARGET_FILE); // its file is made anew, for another user
        run.kernel.PutFile(TARGET_FILE);
    });
    run.After(until, [&run] {
        run.kernel.SetErrors(TARGET_FILE, 0);
        run.kernel.Chmod(TARGET_FILE);
    });
}

// The camera comes and goes, and with it the target's number.
void ComeAndGo(KernelProgram& run, std::int64_t from, std::int64_t until) {
    for (std::int64_t ms = from; ms < until; ms += 600) {
        run.After(ms, [] { SimulatorUnplug(CAMERA_INDEX); });
        run.After(ms + 300, [] { SimulatorPlug(CAMERA_INDEX); });
    }
}

TEST_F(BadDay, EndsInALoadOrAClearFailure) {
    constexpr std::int64_t FOREVER = 10'000'000;
    enum class End { Load, Failure, Either };
    const struct {
        const char* name;
        Change change;
        End end;
        std::vector<std::string> others = {};
    } rows[] = {
        {"a hundred resets a second for ten seconds",
         [](KernelProgram& run) {
             for (std::int64_t ms = 5000; ms < 15'000; ms += 10)
                 run.After(ms, [] { SimulatorBusReset(); });
         },
         End::Load},
        {"a neighbour that comes and goes before the load", [](KernelProgram& run) { ComeAndGo(run, 3000, 30'000); },
         End::Load},
        {"a neighbour that comes and goes from the erase on", [](KernelProgram& run) { ComeAndGo(run, 8300, 30'000); },
         End::Either},
        {"a neighbour that is always silent", [](KernelProgram& run) { SilenceFrom(run, CAMERA_FILE, 0); }, End::Load},
        {"a target that is always silent", [](KernelProgram& run) { SilenceFrom(run, TARGET_FILE, 0); }, End::Failure},
        {"a target that falls silent", [](KernelProgram& run) { SilenceFrom(run, TARGET_FILE, 8900); }, End::Failure},
        {"a permission lost for good", [](KernelProgram& run) { LosePermission(run, 8900, FOREVER); }, End::Failure},
        {"a permission lost while the flash is erased", [](KernelProgram& run) { LosePermission(run, 8300, 8500); },
         End::Load},
        {"63 nodes", [](KernelProgram&) {}, End::Load, std::vector<std::string>(60, CAMERA)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const bool loaded = Load(row.change, row.others);
        EXPECT_TRUE(row.end == End::Either || loaded == (row.end == End::Load)) << loaded;
    }
}

TEST_F(BadDay, AnAdapterThatIsPulledOutEndsInALoadOrAClearFailure) {
    for (const std::int64_t comesBackAfter : {0, 1500})
        for (std::int64_t ms = 3000; ms < 13'000; ms += 700) {
            SCOPED_TRACE(testing::Message() << ms << " " << comesBackAfter);
            Load([=](KernelProgram& run) {
                run.After(ms, [&run] { run.kernel.PullAdapter(); });
                if (comesBackAfter > 0)
                    run.After(ms + comesBackAfter, [&run] { run.kernel.PutAdapterBack(); });
            });
        }
}

// Its target has the same number and answers like ours, but for its GUID.
void AddSecondAdapter(KernelProgram& run, std::vector<Bytes>& written) {
    constexpr const char *ADAPTER = "fw90", *TARGET = "fw91";
    constexpr std::uint64_t INFO = 0xFFFFC8020000, LOW_GUID_OF_ROM = 0xFFFFF0000410;
    run.kernel.Add(ADAPTER, {.card = 1, .number = 2, .local = true});
    run.kernel.Add(TARGET, {.card = 1, .number = TARGET_INDEX});
    run.kernel.answer = [&written, carry = run.kernel.answer](SentRequest request) -> std::optional<Reply> {
        if (request.file != TARGET)
            return carry(request);
        if (!request.data.empty()) {
            written.push_back(request.data);
            return Reply{};
        }
        std::optional<Reply> reply = carry(request);
        constexpr std::size_t lastOfGuid = 23;
        if (reply && request.address == LOW_GUID_OF_ROM)
            reply->data.back() = 2;
        if (reply && request.address == INFO && reply->data.size() > lastOfGuid)
            reply->data[lastOfGuid] = 2;
        return reply;
    };
}

TEST_F(BadDay, ALoadNeverMovesToAnotherAdaptersDevice) {
    constexpr std::int64_t NEVER = 10'000'000;
    for (const std::int64_t pulledAt : {NEVER, std::int64_t{8300}, std::int64_t{8900}}) {
        SCOPED_TRACE(pulledAt);
        std::vector<Bytes> written;
        const bool loaded = Load([&](KernelProgram& run) {
            AddSecondAdapter(run, written);
            run.After(pulledAt, [&run] { run.kernel.PullAdapter(); });
        });
        EXPECT_EQ(loaded, pulledAt == NEVER);
        for (const Bytes& request : written) {
            constexpr std::size_t code = 6; // what each target gets when it is found: halt, and its debug GUID
            EXPECT_TRUE(request.size() > code && (request[code] == 1 || request[code] == 14 || request[code] == 15));
        }
    }
}

TEST(BusInTrouble, ANodeAppearsWithinASecondOfItsFile) {
    constexpr std::int64_t LATE = 3000, SECOND = 1'000'000'000;
    for (const bool keptItsFile : {true, false}) {
        KernelProgram run(BusOf({}));
        run.kernel.fileDelayMs = LATE;
        run.program.Run("", 3000);
        const std::int32_t handle = basBootloader::globals.TargetList.front().Handle;
        const auto isThere = [&] { return basBootloader::GetNodeNum(handle).NodeNum == TARGET_INDEX; };
        EXPECT_TRUE(isThere());
        SimulatorUnplug(TARGET_INDEX);
        run.program.Pass(1000);
        if (!keptItsFile)
            run.kernel.Remove(TARGET_FILE);
        SimulatorPlug(TARGET_INDEX);
        run.program.Pass(LATE - 100);
        EXPECT_FALSE(isThere());
        const std::int64_t before = run.program.clock.Now();
        EXPECT_TRUE(run.program.windowSystem.RunUntil(isThere, 1100)) << keptItsFile;
        EXPECT_LT(run.program.clock.Now(), before + SECOND) << keptItsFile;
    }
}

} // namespace

// The whole program through the kernel's library: the targets of the simulated bus behind a fake kernel.
#include "HeadlessProgram.h"
#include "KernelTest.h"
#include "PackageBuilder.h"
#include "SimulatedDevices.h"

#include "Levels.h"
#include "bas1394.h"
#include "basAutomation.h"
#include "basBootloader.h"

#include <filesystem>
#include <iostream>

using namespace testing_support;

namespace {

const ByteArray IMAGE = Pattern(2500); // three blocks
constexpr const char* GUID = "000F1B0000000001";

struct KernelProgram {
    explicit KernelProgram(const std::string& bus, std::int32_t level = LEVEL_ERROR)
        : program(bus, level), kernel(program.clock), clock(program.clock, kernel) {
        UseKernel(&kernel);
        std::filesystem::remove(program.directory.file("Twl1394api.so"));
        std::filesystem::create_symlink(KERNEL_LIBRARY, program.directory.file("Twl1394api.so"));
        program.Write("app.twd", Package(IMAGE));
    }
    ~KernelProgram() {
        program.Close();
        UseKernel(nullptr);
    }
    HeadlessProgram program;
    SimulatedDevices kernel;
    SettlingClock clock;
};

TEST(ProgramOnTheKernelsBus, ReadsKeys) {
    KernelProgram run(Bus({Target(GUID, "bootloader", R"(, "keys": {"MODEL": "TX-9"})")}), LEVEL_WATCH);
    run.program.Write("keys.txt", std::string("read --single MODEL"));
    ASSERT_TRUE(run.program.Run("/R keys.txt"));
    EXPECT_TRUE(run.program.Said("received 4 bytes"));
}

TEST(ProgramOnTheKernelsBus, HasAConsole) {
    KernelProgram run(Bus({Target(GUID, "application")}));
    run.program.Run("", 3000);
    ASSERT_EQ(basBootloader::globals.TargetList.size(), 1U);
    const std::int32_t handle = basBootloader::globals.TargetList.front().Handle;
    const std::string line = "version\r";
    ASSERT_EQ(basBootloader::WriteShellCharacters(handle, {line.begin(), line.end()}), 1);
    std::string text;
    for (int i = 0; i < 4; ++i) {
        run.program.Pass(50);
        ByteArray data;
        if (basBootloader::ReadShellCharacters(handle, data, true) == 1)
            text.append(data.begin(), data.end());
    }
    EXPECT_NE(text.find("TX-9"), std::string::npos) << text;
}

TEST(ProgramOnTheKernelsBus, AnAnnouncingDeviceIsHalted) {
    KernelProgram run(Bus({Target(GUID, "application", R"(, "announce": true, "eraseMs": 0)")}), LEVEL_WATCH);
    ASSERT_TRUE(run.program.Run("/D app.twd"));
    EXPECT_TRUE(run.program.Said("Broadcasted halt command."));
    EXPECT_EQ(run.program.Flash(0, "application"), IMAGE);
}

TEST(ProgramOnTheKernelsBus, WithoutAnAdapterARunSaysThatThereAreNoTargets) {
    KernelProgram run(Bus({Target(GUID, "bootloader")}), LEVEL_WATCH);
    run.kernel.PullAdapter();
    ASSERT_TRUE(run.program.Run("/D app.twd"));
    EXPECT_TRUE(run.program.Said("There are no targets on the 1394 bus that"));
    EXPECT_EQ(run.program.Flash(0, "application"), ByteArray());
}

// Runs of a load, each with trouble of its own: it ends, and says the truth about the flash.
class Trouble : public testing::Test {
protected:
    void TearDown() override { std::cout << runs << " runs, " << loads << " of them loaded\n"; }
    void Run(const std::function<void(KernelProgram&)>& trouble) {
        KernelProgram run(R"({"nodes": [)" + Target(GUID, "application") +
                          R"(, {"kind": "device"}, {"kind": "host"}]})");
        trouble(run);
        ASSERT_TRUE(run.program.Run("/D app.twd")) << "the program hangs";
        const bool loaded = run.program.Said("Successfully loaded new");
        EXPECT_EQ(basAutomation::globals.Verdict.Outcome == basApp::OutcomeKind::Done, loaded);
        EXPECT_TRUE(!loaded || run.program.Flash(0, "application") == IMAGE) << "a success with a different flash";
        transactions = SimulatorTransactions();
        ++runs;
        loads += loaded;
    }
    std::uint64_t transactions = 0; // of the last run
    int runs = 0, loads = 0;
};

TEST_F(Trouble, ABusResetAfterAnyTransactionEndsInALoadOrAClearFailure) {
    Run([](KernelProgram&) {});
    ASSERT_EQ(loads, 1);
    constexpr std::uint64_t STRIDE = 7;
    const std::uint64_t undisturbed = transactions;
    int disturbed = 0;
    for (std::uint64_t k = 1; k <= undisturbed; k += STRIDE) {
        SCOPED_TRACE(k);
        Run([k](KernelProgram&) { SimulatorResetAfter(k); });
        disturbed += transactions != undisturbed;
    }
    EXPECT_GT(disturbed, runs / 2) << "the resets don't occur";
    EXPECT_GT(loads, runs * 9 / 10);
}

TEST_F(Trouble, AnAdapterThatIsPulledOutEndsInALoadOrAClearFailure) {
    for (const std::int64_t comesBackAfter : {0, 1500})
        for (std::int64_t ms = 3000; ms < 13'000; ms += 700) {
            SCOPED_TRACE(testing::Message() << ms << " " << comesBackAfter);
            Run([=](KernelProgram& run) {
                const std::int64_t at = run.program.clock.Now() + ms * 1'000'000;
                run.program.clock.CallAt(at, [&run] { run.kernel.PullAdapter(); });
                if (comesBackAfter > 0)
                    run.program.clock.CallAt(at + comesBackAfter * 1'000'000, [&run] { run.kernel.PutAdapterBack(); });
            });
        }
}

TEST_F(Trouble, AStormOfResetsEndsInALoadOrAClearFailure) {
    Run([](KernelProgram& run) {
        for (std::int64_t ms = 5000; ms < 15'000; ms += 10)
            run.program.clock.CallAt(run.program.clock.Now() + ms * 1'000'000, [] { SimulatorBusReset(); });
    });
    EXPECT_EQ(loads, 1);
}

} // namespace

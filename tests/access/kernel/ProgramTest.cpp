// The whole program through the kernel's library: the targets of the simulated bus behind a fake kernel.
#include "KernelProgram.h"

using namespace testing_support;

namespace {

const ByteArray& IMAGE = KernelProgram::IMAGE;
constexpr const char* GUID = "000F1B0000000001";

TEST(ProgramOnTheKernelsBus, ReadsKeys) {
    KernelProgram run(Bus({Target(GUID, "bootloader", R"(, "keys": {"MODEL": "TX-9"})")}), LEVEL_WATCH);
    run.program.Write("keys.txt", std::string("read --single MODEL"));
    ASSERT_TRUE(run.program.Run("/R keys.txt"));
    EXPECT_TRUE(run.program.Said("received 4 bytes"));
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

} // namespace

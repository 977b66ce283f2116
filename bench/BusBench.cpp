// The host's work for each node and each block: transactions take 0 microseconds, and pauses cost
// nothing on the virtual clock. The figures include the work of the simulated devices.
#include "HeadlessProgram.h"
#include "NodeConfigRom.h"
#include "bas1394.h"
#include "basBootloader.h"

#include <benchmark/benchmark.h>
#include <fmt/format.h>

namespace {

constexpr std::int32_t BLOCK_SIZE = 1024, IMAGE_SIZE = 1 << 20;
constexpr int TARGETS = 62; // and this computer

std::string TimelessBus(int targets) {
    std::string nodes;
    for (int node = 0; node < targets; ++node)
        nodes += testing_support::Target(fmt::format("000F1B{:010X}", node + 1), "bootloader") + ", ";
    return R"({"transactionMicroseconds": 0, "nodes": [)" + nodes + R"({"kind": "host"}]})";
}

// A started program that has found its targets.
struct Program : testing_support::HeadlessProgram {
    explicit Program(int targets) : HeadlessProgram(TimelessBus(targets), LEVEL_WARNING) {
        basApp::Main("");
        windowSystem.RunUntil([] { return bas1394::globals.BusEnumerated && basBootloader::globals.DiscoveryComplete; },
                              60'000);
    }
};

void ReadRomsOf63Nodes(benchmark::State& state) {
    const Program program(TARGETS);
    if (bas1394::globals.DeviceTable.size() != TARGETS + 1)
        return state.SkipWithError("the node table isn't complete");
    for (auto _ : state) {
        int whole = 0;
        for (std::int32_t node = 0; node <= TARGETS; ++node) {
            ConfigRomRecord rom;
            whole += basConfigRom::GetFormattedConfigRom(node, rom) == 1 ? 1 : 0;
            benchmark::DoNotOptimize(rom);
        }
        if (whole != TARGETS) // this computer has no ROM of its own
            return state.SkipWithError("a ROM wasn't read whole");
    }
}
BENCHMARK(ReadRomsOf63Nodes)->Unit(benchmark::kMillisecond);

// False if the target rejects the announcement of another image.
bool Announce(std::int32_t handle) {
    basBootloader::DownloadAnnouncement announcement;
    announcement.StartAddress = 0x20000000;
    announcement.Length = IMAGE_SIZE;
    std::int32_t maxBlockSize = 0;
    return basBootloader::DownloadStart(handle, announcement, maxBlockSize, 40000) == 1 && maxBlockSize == BLOCK_SIZE;
}

void DownloadOneBlock(benchmark::State& state) {
    const Program program(1);
    const std::int32_t handle = basBootloader::globals.TargetList.front().Handle;
    basApp::globals.DownloadInProgress = true;
    ByteArray block(BLOCK_SIZE, 0x5A);
    std::int32_t sent = IMAGE_SIZE;
    for (auto _ : state) {
        if (sent == IMAGE_SIZE) {
            state.PauseTiming();
            if (!Announce(handle))
                return state.SkipWithError("the target doesn't take the announcement");
            sent = 0;
            state.ResumeTiming();
        }
        if (basBootloader::DownloadBlock(handle, sent / BLOCK_SIZE, 0x20000000 + sent, BLOCK_SIZE, block) != 1)
            return state.SkipWithError("the target doesn't take the block");
        sent += BLOCK_SIZE;
    }
}
BENCHMARK(DownloadOneBlock)->Unit(benchmark::kMicrosecond);

} // namespace

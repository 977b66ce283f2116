// The cost of a message that is dropped, and of one stored in the full log on disk.
#include "HeadlessProgram.h"
#include "basBootloader.h"

#include <benchmark/benchmark.h>

namespace {

constexpr int LOG_ROWS = 2000;

// A started program: status window at WARNING, stored log at TRACE.
struct Program : testing_support::HeadlessProgram {
    Program() : HeadlessProgram(testing_support::Bus({}), LEVEL_WARNING) { basApp::Main(""); }
};

void DroppedMessage(benchmark::State& state) {
    const Program program;
    std::int32_t code = 1;
    for (auto _ : state) {
        benchmark::DoNotOptimize(code);
        basBootloader::StatusDisplay(LEVEL_DETAIL, "DownloadBlock returned {} (0x{:X})", code, 17);
    }
}
BENCHMARK(DroppedMessage);

void StoredMessage(benchmark::State& state) {
    const Program program;
    const auto store = [](std::int64_t number) {
        basBootloader::StatusDisplay(LEVEL_TRACE, "a message of a usual length, with a number {}", number);
    };
    for (int row = 0; row < LOG_ROWS; ++row)
        store(row);
    std::int64_t number = 0;
    for (auto _ : state)
        store(++number);
    state.SetItemsProcessed(state.iterations());
}
// Long enough to include waits for the disk, which occur once in several thousand messages.
BENCHMARK(StoredMessage)->MinTime(3)->UseRealTime();

} // namespace

// Reads a large package into memory, with progress calls.
#include "Files.h"
#include "TemporaryDirectory.h"
#include "basUtils.h"

#include <benchmark/benchmark.h>

namespace {

constexpr std::size_t FILE_SIZE = std::size_t{64} << 20;

void ReadFileBytes(benchmark::State& state) {
    const platform::testing::TemporaryDirectory folder;
    const std::string path = folder.file("large.twd");
    platform::WriteFileAtomically(path, ByteArray(FILE_SIZE, 0xA5));
    double shown = 0;
    basUtils::ReadProgress progress;
    progress.value = [&shown](double value) { shown = value; };
    progress.repaint = [] {};
    for (auto _ : state) {
        ByteArray bytes;
        if (basUtils::ReadFileBytes(path, bytes, 0, &progress) != 1 || bytes.size() != FILE_SIZE + 1)
            return state.SkipWithError("the file wasn't read whole");
        benchmark::DoNotOptimize(shown);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(FILE_SIZE));
}
BENCHMARK(ReadFileBytes)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

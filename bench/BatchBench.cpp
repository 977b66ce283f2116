// Parses a production line's key batch: a web page with 1000 operations, a tenth of them writes.
#include "Files.h"
#include "KeyBatch.h"
#include "TemporaryDirectory.h"
#include "basAutomation.h"

#include <benchmark/benchmark.h>
#include <fmt/format.h>

namespace {

constexpr int OPERATIONS = 1000, OPERATIONS_PER_WRITE = 10;

ByteArray Bytes(const std::string& text) {
    return {text.begin(), text.end()};
}

std::string Line(int number) {
    const char* line = number % OPERATIONS_PER_WRITE == 0
                           ? "<p class=\"op\">write 000F1B{:010X} LOCATION location.txt</p> # {}\r\n"
                           : "<p class=\"op\">read 000F1B{:010X} KEY{} value.txt</p>\r\n";
    return fmt::format(fmt::runtime(line), number, number);
}

void ParseBatchOf1000Lines(benchmark::State& state) {
    const platform::testing::TemporaryDirectory folder;
    std::string batch = "<html><body>\r\n";
    for (int number = 0; number < OPERATIONS; ++number)
        batch += Line(number);
    platform::WriteFileAtomically(folder.file("batch.html"), Bytes(batch));
    platform::WriteFileAtomically(folder.file("location.txt"), Bytes("# where it stands\r\nRack 3\r\n"));
    basAutomation::globals.KeyBatchDirectory = folder.path() + "/";
    for (auto _ : state) {
        std::vector<basAutomation::KeyOperation> operations;
        std::int32_t dropped = 0;
        if (basAutomation::GetKeyOperationsFromFile(folder.file("batch.html"), operations, dropped) != 1 ||
            operations.size() != OPERATIONS + 1)
            return state.SkipWithError("an operation is missing");
        benchmark::DoNotOptimize(operations);
    }
    basAutomation::globals = {};
}
BENCHMARK(ParseBatchOf1000Lines)->Unit(benchmark::kMillisecond);

} // namespace

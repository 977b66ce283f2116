// What recording adds to a transaction: the same one on the simulated bus, whose time is virtual, without and with a
// record.
#include "BusOnVirtualClock.h"
#include "LibraryUnderTest.h"
#include "RecordVariables.h"
#include "TestFolder.h"

#include <benchmark/benchmark.h>

#include <cstdlib>

using namespace testing_support;

namespace {

void Transactions(benchmark::State& state, const char* library) {
    platform::testing::VirtualClock clock;
    const ::TestFolder folder;
    KeepingClient client;
    setenv(TWL1394_RECORDED_VARIABLE, SIMULATED_LIBRARY, 1);
    setenv(TWL1394_RECORD_VARIABLE, folder.file("bus.twr").c_str(), 1);
    UseVirtualClock(clock);
    SimulatorDescribe(R"({"nodes": [{"kind": "target", "guid": "000F1B0000000001"}, {"kind": "host"}]})", nullptr);
    const Operations operations = OperationsOf(library);
    operations.RegisterClient(client.Get());
    const std::vector<std::uint8_t> data(static_cast<std::size_t>(state.range(0)));
    const Twl1394Address at{0xFFFF, 0, 0xC8021040};
    for (auto _ : state)
        if (operations.AsyncWriteWrapper(0, &at, static_cast<std::uint32_t>(data.size()), data.data(), 0) != 1)
            return state.SkipWithError("the write failed");
    operations.DeRegisterClient(client.Get());
    SimulatorDescribe(R"({"nodes": []})", nullptr);
    SimulatorUseClock(nullptr);
}
BENCHMARK_CAPTURE(Transactions, plain, SIMULATED_LIBRARY)->Arg(8)->Arg(1024)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(Transactions, recorded, RECORD_LIBRARY)->Arg(8)->Arg(1024)->Unit(benchmark::kMicrosecond);

} // namespace

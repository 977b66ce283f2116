// What a transaction through the kernel's library costs beyond the kernel: the same request and answer are first timed
// without the library, on the fake kernel alone, and then through it.
#include "Clock.h"
#include "FakeKernel.h"
#include "KernelTest.h"

#include <benchmark/benchmark.h>

#include <linux/firewire-cdev.h>

using namespace testing_support;

namespace {

constexpr std::uint64_t ADDRESS = 0xFFFFC8021040;

struct RegisteredLibrary {
    RegisteredLibrary() {
        kernel.Add("fw0", {.number = 1, .local = true});
        kernel.Add("fw1", {});
        UseKernel(&kernel);
        KernelLibrary().RegisterClient(client.Get());
    }
    ~RegisteredLibrary() {
        KernelLibrary().DeRegisterClient(client.Get());
        UseKernel(nullptr);
    }
    FakeKernel kernel;
    KeepingClient client;
};

void TransactionOfTheFakeKernel(benchmark::State& state) {
    FakeKernel kernel;
    kernel.Add("fw1", {});
    const int descriptor = kernel.Open(kernel.DeviceFolder() + "/fw1");
    Bytes data(static_cast<std::size_t>(state.range(0))), record(8192);
    for (auto _ : state) {
        fw_cdev_send_request send{};
        send.tcode = TCODE_WRITE_BLOCK_REQUEST;
        send.length = static_cast<std::uint32_t>(data.size());
        send.offset = ADDRESS;
        send.data = reinterpret_cast<std::uintptr_t>(data.data());
        send.generation = FakeKernel::FIRST_GENERATION;
        kernel.Control(descriptor, FW_CDEV_IOC_SEND_REQUEST, &send);
        pollfd polled{descriptor, POLLIN, 0};
        if (kernel.Poll(&polled, 1) != 1 || kernel.Read(descriptor, record.data(), record.size()) <= 0)
            return state.SkipWithError("no answer");
        kernel.sent.clear();
    }
    kernel.Close(descriptor);
}
BENCHMARK(TransactionOfTheFakeKernel)->Arg(8)->Arg(1024)->Unit(benchmark::kMicrosecond)->UseRealTime();

void TransactionThroughTheLibrary(benchmark::State& state) {
    RegisteredLibrary library;
    const Bytes data(static_cast<std::size_t>(state.range(0)));
    const Twl1394Address at{0xFFFF, 0, static_cast<std::uint32_t>(ADDRESS)};
    for (auto _ : state) {
        if (KernelLibrary().AsyncWriteWrapper(0, &at, static_cast<std::uint32_t>(data.size()), data.data(), 0) != 1)
            return state.SkipWithError("the write failed");
        library.kernel.sent.clear();
    }
}
BENCHMARK(TransactionThroughTheLibrary)->Arg(8)->Arg(1024)->Unit(benchmark::kMicrosecond)->UseRealTime();

// How often the library's thread begins to wait in ten seconds without an event: never.
void IdleLibrary(benchmark::State& state) {
    RegisteredLibrary library;
    library.kernel.WaitUntilIdle();
    const std::size_t before = library.kernel.polls;
    for (auto _ : state)
        platform::Sleep(10'000);
    state.counters["wakeups"] = static_cast<double>(library.kernel.polls - before);
}
BENCHMARK(IdleLibrary)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

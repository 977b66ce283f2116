// kernel_load: "hoistline load" of 1 MiB through the kernel's library over the fake kernel, in real time. The device is
// a target of the simulated bus, with a transaction of 125 us.
#include "EventLoop.h"
#include "HeadlessProgram.h"
#include "KernelTest.h"
#include "PackageBuilder.h"
#include "Paths.h"
#include "Run.h"
#include "SimulatedDevices.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

using namespace testing_support;

namespace {

constexpr std::int64_t MIB = 1 << 20, BLOCKS = MIB / 1024;
constexpr double BLOCK = 0.010 + 3 * 0.000125, ERASE = 0.800, CHECK = 0.100; // seconds
constexpr double FLOOR = BLOCKS * BLOCK + ERASE + CHECK;
constexpr double POLL = 0.110125;                              // the protocol's pauses and a transaction
constexpr double WITH_POLLS = BLOCKS * BLOCK + (8 + 1) * POLL; // erase and check end between two polls

} // namespace

int main() {
    TestFolder folder;
    setenv("XDG_RUNTIME_DIR", folder.path().c_str(), 1);
    platform::UseProgramDirectory(folder.path());
    platform::Database::Create(folder.file("db1_clean.mdb"), clsDbManager::Schema());
    const ByteArray package = Package(Pattern(MIB));
    folder.Put("app.twd", {package.begin(), package.end()});

    platform::testing::VirtualClock unused; // the bus isn't reset until the load is over
    platform::UseClock(nullptr);
    const std::string bus = R"({"nodes": [)" + Target("000F1B0000000001", "bootloader") + "]}"; // without a trace
    SimulatorDescribe(bus.c_str(), nullptr);
    SimulatedDevices kernel(unused);
    kernel.now = nullptr;
    UseKernel(&kernel);

    const platform::EventLoop loop;
    std::string out;
    cli::Streams streams;
    streams.Error = [](std::string_view) { return true; };
    streams.Out = [&](std::string_view text) {
        out += text;
        return true;
    };
    cli::Run({"load", folder.file("app.twd"), "--json", "--bus", std::string("library:") + KERNEL_LIBRARY}, streams);
    UseKernel(nullptr);
    const auto record = nlohmann::json::parse(out);
    const double took = record["steps"][0]["seconds"];
    fmt::print("Load of {} blocks: {:.3f} s; ratio to the least {:.4f}, with the polls {:.4f}\n", BLOCKS, took,
               took / FLOOR, took / WITH_POLLS);
    return record["steps"][0]["outcome"] == "done" ? 0 : 1;
}

// The benches of our own libraries: the simulated bus, the kernel's library with the simulated bus behind it, and the
// same recorded.
#include "ConformanceBench.h"

#include "BusOnVirtualClock.h"
#include "KernelTest.h"
#include "RecordVariables.h"
#include "SimulatedDevices.h"
#include "TestFolder.h"

namespace testing_support {

namespace {

constexpr const char* DESCRIPTION = R"({"nodes": [
  {"kind": "target", "guid": "000F1B0000000001", "mode": "bootloader", "announce": true},
  {"kind": "device", "guid": "0800460000000002"},
  {"kind": "host"}]})";

class SimulatedBench : public ConformanceBench {
public:
    SimulatedBench() {
        UseVirtualClock(clock_);
        SimulatorDescribe(DESCRIPTION, nullptr);
    }
    ~SimulatedBench() override {
        SimulatorDescribe(R"({"nodes": []})", nullptr);
        clock_.Sleep(std::int64_t{1} << 50); // what is still due does nothing
        SimulatorUseClock(nullptr);
    }
    const Operations& Library() override {
        static const Operations operations = OperationsOf(SIMULATED_LIBRARY);
        return operations;
    }
    void ResetBus() override { SimulatorBusReset(); }
    void Unplug(std::uint32_t node) override { SimulatorUnplug(node); }
    void Plug(std::uint32_t node) override { SimulatorPlug(node); }
    void Silence() override { SimulatorFailNext(0, 1, TWL1394_TIMED_OUT); }
    void Settle() override { clock_.Sleep(2'000'000'000); }

protected:
    platform::testing::VirtualClock clock_;
};

class KernelBench : public SimulatedBench {
public:
    KernelBench() : kernel_(clock_) { UseKernel(&kernel_); }
    ~KernelBench() override { UseKernel(nullptr); }
    const Operations& Library() override { return KernelLibrary(); }
    void Settle() override {
        kernel_.Settle();
        SimulatedBench::Settle();
        kernel_.Settle();
    }

private:
    SimulatedDevices kernel_;
};

// The kernel's library with the recording one before it.
class RecordedBench : public KernelBench {
public:
    RecordedBench() {
        setenv(TWL1394_RECORDED_VARIABLE, KERNEL_LIBRARY, 1);
        setenv(TWL1394_RECORD_VARIABLE, folder_.file("bus.twr").c_str(), 1);
    }
    const Operations& Library() override {
        static const Operations operations = OperationsOf(RECORD_LIBRARY);
        return operations;
    }

private:
    ::TestFolder folder_;
};

} // namespace

const std::vector<BenchMaker>& Benches() {
    static const std::vector<BenchMaker> benches = {
        {"Simulated", [] { return std::make_unique<SimulatedBench>(); }},
        {"Kernel", [] { return std::make_unique<KernelBench>(); }},
        {"Recorded", [] { return std::make_unique<RecordedBench>(); }},
    };
    return benches;
}

} // namespace testing_support

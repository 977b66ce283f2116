// A fake kernel whose nodes are those of the simulated bus, on the virtual clock. A device keeps its file when its
// number changes; a new one, or one that returns, gets its file or its number some time after the reset, as from the
// kernel.
#pragma once

#include "FakeKernel.h"
#include "Simulator.h"
#include "Twl1394api.h"
#include "VirtualClock.h"

#include <map>
#include <set>
#include <string>

namespace testing_support {

class SimulatedDevices : public FakeKernel {
public:
    // The bus has been described, on the same clock.
    explicit SimulatedDevices(platform::testing::VirtualClock& clock);
    ~SimulatedDevices() override;

    std::int64_t fileDelayMs = 500;
    void PullAdapter(); // with all nodes
    void PutAdapterBack();

private:
    using Numbers = std::map<std::string, std::uint32_t>; // by file

    void TakeNotice(std::uint32_t number);
    Numbers PresentNodes(); // but for this computer; creates names for new ones
    std::uint32_t HostNumber() const;
    void ReadTopology();
    void RenumberIfStale();
    void Appear(const std::string& file);
    std::optional<Reply> Answer(const SentRequest& request);
    int AllocateOnHost(std::uint64_t address, std::uint64_t end);

    platform::testing::VirtualClock& clock_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true); // calls may outlast this
    Twl1394Client client_;
    bool stale_ = false; // the bus has been reset, and the kernel doesn't know yet
    bool pulled_ = false;
    Numbers present_;                                     // on the bus
    std::set<std::string> known_;                         // of those, with their current number
    std::map<std::string, std::string> files_;            // by GUID
    std::map<std::uint64_t, std::uint32_t> rangeHandles_; // of the simulated computer, by address
};

// The program's clock: before time passes, the library's thread has done what there was to do.
class SettlingClock : public platform::Clock {
public:
    SettlingClock(platform::testing::VirtualClock& clock, FakeKernel& kernel) : clock_(clock), kernel_(kernel) {
        platform::UseClock(this);
    }
    ~SettlingClock() override { platform::UseClock(&clock_); }
    std::int64_t Now() override { return clock_.Now(); }
    std::int64_t CalendarNow() override { return clock_.CalendarNow(); }
    void Sleep(std::int64_t nanoseconds) override {
        kernel_.Settle();
        clock_.Sleep(nanoseconds);
        kernel_.Settle();
    }

private:
    platform::testing::VirtualClock& clock_;
    FakeKernel& kernel_;
};

} // namespace testing_support

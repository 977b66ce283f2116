// hoistline reset and bus-reset.
#include "BusSession.h"
#include "Commands.h"
#include "DeviceChoice.h"
#include "DeviceMode.h"
#include "bas1394.h"
#include "basBootloader.h"

namespace cli {

namespace {

struct ResetOptions {
    std::string into, device;
};

void Reset(Call& call, const ResetOptions& options) {
    call.showsVerdict = true;
    BusSession session(call);
    std::int32_t handle = 0;
    if (!session.OpenBus() || !ChooseTarget(call, options.device, handle))
        return;
    const basBootloader::DeviceLock lock(handle);
    if (HasLock(call, lock) && ResetInto(call, handle, options.into == "bootloader"))
        call.Print(fmt::format("The device runs its {}.", options.into));
}

std::size_t NodeCount() {
    return bas1394::globals.TopologyMap.SelfIds.size();
}

void ResetBus(Call& call) {
    constexpr std::int64_t TIME_TO_SETTLE = 15'000; // ms
    BusSession session(call);
    if (!session.OpenBus())
        return;
    if (basBootloader::AnyLoadedByAnother()) {
        call.End(Verdict::Unchanged, basBootloader::AnyLoadedByAnotherText());
        return;
    }
    bool complete = false;
    call.frontEnd->onResetComplete = [&complete] { complete = true; };
    bas1394::ResetBus();
    if (call.Wait([&complete] { return complete && bas1394::globals.BusEnumerated; }, TIME_TO_SETTLE)) {
        call.report.Answer = {{"nodes", NodeCount()}};
        call.Print(NodeCount() == 1 ? "1 node" : fmt::format("{} nodes", NodeCount()));
    } else {
        call.End(Verdict::Failed, "The bus doesn't come up after its reset.");
    }
    call.frontEnd->onResetComplete = nullptr;
}

} // namespace

void AddReset(CommandSet& set) {
    auto options = std::make_shared<ResetOptions>();
    CLI::App* command = set.Add("reset", "reset a device into its application or its bootloader",
                                [options](Call& call) { Reset(call, *options); });
    TakesOneOf(command->add_option("--into", options->into, "choose what it runs afterwards")->required(),
               {"application", "bootloader"});
    AddDevice(command, options->device);
}

void AddBusReset(CommandSet& set) {
    set.Add("bus-reset", "reset the bus, and tell how many nodes it has then", ResetBus);
}

} // namespace cli

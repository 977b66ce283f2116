#include "BusEnumeration.h"

#include "EndRequest.h"
#include "Failure.h"
#include "NodeConfigRom.h"
#include "WindowSystem.h"
#include "bas1394.h"

namespace bas1394 {

namespace {

constexpr std::int32_t EXPECTED_VENDOR = 0xF1B;

void Call(const std::function<void()>& hook) {
    if (hook)
        hook();
}

bool Says(const std::function<bool()>& hook) {
    return hook && hook();
}

// Each statement of the enumeration runs even if an earlier one failed.
auto StatementRunner() {
    return platform::ResumeNext(LogFailure("bas1394.VdevBusResetHandler"));
}

// One enumeration of the nodes.
class NodePass {
public:
    // False when a bus reset interrupted it.
    bool Run(std::size_t nodes) {
        firstNode_ = globals.DeviceTable.front().NodeNum == NO_NODE ? 0 : globals.DeviceTable.size();
        for (std::size_t i = 0; i < nodes; ++i)
            if (!Take(i))
                return false;
        return true;
    }

private:
    bool Take(std::size_t i) {
        const std::size_t index = firstNode_ + i - hiddenNodes_;
        next_(platform::DoEvents);
        if (globals.BusResetPending) {
            StatusDisplay(LEVEL_WATCH, "BusResetHandler: routine interrupted by bus topology change.");
            return false;
        }
        if (index > 0)
            globals.DeviceTable.resize(index + 1);
        Fill(globals.DeviceTable[index], i);
        StatusDisplay(LEVEL_TRACE, "Getting config rom for node #{}...", i);
        if (globals.BusResetPending)
            return false;
        ConfigRomRecord& rom = globals.DeviceTable[index].ConfigRom; // stays valid: the table isn't resized meanwhile
        const std::int32_t code = basConfigRom::GetFormattedConfigRom(static_cast<std::int32_t>(index), rom);
        next_([&] { LogRom(i, code, rom); });
        if (globals.BusResetPending)
            return false;
        if (Stays(i, code, rom))
            next_([] { basApp::CurrentFrontEnd().NodesChanged(); });
        else
            Hide(index);
        return true;
    }

    static void Fill(Device& device, std::size_t i) {
        device = {};
        device.SelfId = globals.TopologyMap.SelfIds[i];
        device.NodeNum = static_cast<std::int16_t>(i);
        device.Driver = "vdev";
        const auto& names = globals.VirtualDeviceList.Names;
        device.DeviceName = names.empty() ? std::string() : names.front();
    }

    static void LogRom(std::size_t i, std::int32_t code, const ConfigRomRecord& rom) {
        if (code == RESULT_SUCCESS) {
            if (basDebug::Wanted(LEVEL_USER))
                StatusDisplay(LEVEL_USER, "Node #{}: GUID='{}', Manufacturer='{}', Model='{}'", i,
                              basConfigRom::GetConfigRomGuidText(rom), basConfigRom::GetConfigRomVendorText(rom),
                              basConfigRom::GetConfigRomModelText(rom));
        } else if (code != basConfigRom::NO_ROOT_DIRECTORY) {
            StatusDisplay(LEVEL_TRACE,
                          "BusResetHandler: unreadable config ROM on node #{}.  bas1394.GetFormattedConfigRom "
                          "returned code {}",
                          i, code);
        }
    }

    static bool Stays(std::size_t i, std::int32_t code, const ConfigRomRecord& rom) {
        return i == globals.LocalHostNode || ((code == RESULT_SUCCESS || code == basConfigRom::NO_ROOT_DIRECTORY) &&
                                              rom.NodeVendorID == EXPECTED_VENDOR);
    }

    // The next node takes its record.
    void Hide(std::size_t index) {
        ++hiddenNodes_;
        globals.HiddenNodes.push_back(globals.DeviceTable[index]);
        if (index > 0)
            globals.DeviceTable.resize(index);
        else
            globals.DeviceTable.front() = globals.NullDevice;
    }

    decltype(StatementRunner()) next_ = StatementRunner();
    std::size_t firstNode_ = 0;
    std::size_t hiddenNodes_ = 0;
};

void LogNodeCount(std::int16_t nodes) {
    if (nodes == globals.LastNodeCount)
        StatusDisplay(LEVEL_TRACE, "BusResetHandler: the number of nodes on the bus is {}", nodes);
    else
        StatusDisplay(LEVEL_TRACE, "BusResetHandler: the number of nodes on the bus has changed from {} to {}",
                      globals.LastNodeCount, nodes);
    globals.LastNodeCount = nodes;
}

// Without an answer it stays 128, no node.
void FindLocalHostNode() {
    const std::int32_t node = GetLocalHostNode();
    if (node >= 0)
        globals.LocalHostNode = static_cast<std::uint8_t>(node);
}

// Repeats the pass until no reset interrupted it.
void EnumerateUntilQuiet() {
    do {
        SignalBusReset();
        platform::Sleep(static_cast<std::uint32_t>(basApp::globals.BusResetSettleTime));
        globals.BusResetPending = false;
        const std::int32_t code = BusResetHandler(true);
        if (code == RESULT_SUCCESS)
            continue;
        if (globals.BusResetPending)
            StatusDisplay(LEVEL_WATCH,
                          "BusResetHandlerThread: routine interrupted by another bus reset before completing.");
        else
            StatusDisplay(LEVEL_WARNING, "BusResetHandlerThread: failed call to bas1394.BusResetHandler, code {}",
                          code);
    } while (globals.BusResetPending && !platform::EndRequested()); // the resets may never stop
}

} // namespace

void BusResetHandlerThread() {
    if (globals.HandlingBusReset)
        return;
    if (Says(hooks.discoveryOwed))
        globals.BusResetPending = true;
    if (!globals.BusResetPending)
        return;
    globals.HandlingBusReset = true;
    platform::Attempt(
        [] {
            EnumerateUntilQuiet();
            basApp::CurrentFrontEnd().NodesChanged();
            StatusDisplay(LEVEL_TRACE, "BusResetHandlerThread complete.");
        },
        [](const platform::Failure& f) {
            StatusDisplay(LEVEL_ERROR, "ERROR #{}: {} in BusResetHandlerThread", f.Number, f.Description);
        });
    globals.HandlingBusReset = false;
}

void IncomingDataThreadHandler() {
    platform::Attempt(
        [] {
            while (globals.IncomingDataPending && !Says(hooks.answerAwaited)) {
                globals.IncomingDataPending = false;
                Call(hooks.incomingData);
            }
        },
        LogFailure("IncomingDataThreadHandler"));
}

void SignalBusReset() {
    globals.BusEnumerated = false;
    Call(hooks.discoveryInterrupted);
}

std::int32_t BusResetHandler(bool forceRead) {
    globals.LocalHostNode = NO_NODE;
    StatusDisplay(LEVEL_TRACE, "BusResetHandler called.");
    globals.DeviceTable.assign(1, globals.NullDevice);
    globals.HiddenNodes.clear();
    if (globals.BusResetPending)
        return RESULT_FAILED;
    std::int32_t code = VdevBusResetHandler(forceRead);
    if (code != RESULT_SUCCESS)
        StatusDisplay(LEVEL_ERROR, "VdevBusResetHandler call failed, code {}(0x{:X})", code, Bits(code));
    if (globals.BusResetPending)
        return RESULT_FAILED;
    code = hooks.bootloaderBusReset ? hooks.bootloaderBusReset() : RESULT_SUCCESS;
    if (code == RESULT_SUCCESS)
        Call(hooks.logTargets);
    else
        StatusDisplay(LEVEL_WARNING, "tmrTopologyRefresh: failed call to basBootloader.BusResetHandler, code {}", code);
    if (globals.BusResetPending)
        return RESULT_FAILED;
    globals.BusEnumerated = true;
    basApp::CurrentFrontEnd().ResetComplete();
    return RESULT_SUCCESS;
}

std::int32_t VdevBusResetHandler(bool forceRead) {
    auto next = StatementRunner();
    globals.LocalHostNode = NO_NODE;
    GetVirtualDevices(); // may have to start the driver, and then still lists what was there before
    if (GetVirtualDevices() < 1)
        return RESULT_FAILED;
    StatusDisplay(LEVEL_DETAIL, "Getting a new topology map.");
    std::int32_t code = RESULT_FAILED;
    next([&] { code = GetTopologyMap(globals.TopologyMap); });
    if (code != RESULT_SUCCESS)
        StatusDisplay(LEVEL_ERROR, "1394 Virtual Device Handler Error: failed to get topology map.  All further "
                                   "communication with the bus is disrupted.");
    if (globals.BusResetPending)
        return RESULT_FAILED;
    const auto nodes = static_cast<std::int16_t>(globals.TopologyMap.SelfIds.size());
    if (nodes == globals.LastNodeCount && !forceRead)
        return RESULT_SUCCESS;
    LogNodeCount(nodes);
    next(FindLocalHostNode);
    next([] { globals.BusNumber = GetBusNumber(); });
    bool complete = false;
    next([&] { complete = NodePass().Run(static_cast<std::size_t>(nodes)); });
    return complete && !globals.BusResetPending ? RESULT_SUCCESS : RESULT_FAILED;
}

} // namespace bas1394

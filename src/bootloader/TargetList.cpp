// The list of every compatible node met since start. A bus reset renumbers all nodes; a
// target keeps its record and its handle, and only the node number in it changes.
#include "Handles.h"
#include "basBootloader.h"
#include "basConfigRom.h"
#include "basUtils.h"

#include <algorithm>
#include <cstdint>
#include <tuple>

namespace basBootloader {

namespace {

constexpr std::array<std::uint8_t, 8> NULL_GUID{};
constexpr std::int32_t CREATED_STATE = 2;
constexpr bas1394::Address1394 ANNOUNCEMENTS{0xFFFF, 0xC8029000};

constexpr const char* RESUMING = ".  Resuming next...";

// --- Discovery of one node ---

struct Findings {
    bool candidate = true, upgradable = false, shellCapable = false, underDebugger = false;
};

bool ConfigRomSuitsTarget(const Device& device) {
    if (basConfigRom::ConfigRomIsMinimal(device.ConfigRom))
        return false;
    if (device.ConfigRom.RawData.size() < 2) {
        StatusDisplay(LEVEL_TRACE,
                      "Node #{}: failed to read any data from config ROM. This node is not a 1394-download-compatible "
                      "or a 1394-shell-compatible target.",
                      device.NodeNum);
        return false;
    }
    return true;
}

bool IdentifiesItself(const Device& device, BootloaderInfoRegisters& info) {
    const std::int32_t result = ReadInfoRegisters(device, info);
    if (result != SUCCESS)
        StatusDisplay(LEVEL_WARNING,
                      "BuildBootloaderDeviceList warning: failed to read info registers for node {}, code {}(0x{:X})",
                      device.NodeNum, result, Bits(result));
    return result == SUCCESS;
}

// Gives the node its record, new or old, and prepares it for loading. True when it can be loaded.
bool EnterTarget(const Device& device, const BootloaderInfoRegisters& info) {
    if (info.GUID == NULL_GUID)
        StatusDisplay(LEVEL_WARNING, "BuildBootloaderDeviceList: null GUID in info registers for Node #{}",
                      device.NodeNum);
    std::int32_t index = FindBootloaderDevice(device, info);
    if (index < 0) {
        StatusDisplay(LEVEL_TRACE, "BuildBootloaderDeviceList: creating bootloader device...");
        index = CreateBootloaderDevice(device, info);
    }
    if (index < 0)
        return false;
    StatusDisplay(LEVEL_TRACE, "BuildBootloaderDeviceList: Opening bootloader device, nodenum={}, targetnum={}...",
                  device.NodeNum, index);
    BootloaderTarget& target = globals.TargetList[static_cast<std::size_t>(index)];
    target.Info = info;
    target.Handle = OpenBootloaderDevice(device);
    StatusDisplay(LEVEL_TRACE, "BuildBootloaderDeviceList: Opened bootloader device for node #{}", device.NodeNum);
    if (ConnectToBootloaderDevice(target) == SUCCESS)
        return true;
    StatusDisplay(LEVEL_WARNING, "BuildBootloaderDeviceList: failed to connect to bootloader target, node #{}",
                  device.NodeNum);
    return false;
}

Findings ExamineNode(const Device& device, std::int32_t& compatibleNodes) {
    platform::ResumeNext next{LogFailure("BuildBootloaderDeviceList", RESUMING)};
    Findings findings;
    next([&] {
        if (device.NodeNum == bas1394::globals.LocalHostNode) {
            StatusDisplay(LEVEL_USER, "Node #{} is the local host adapter.", device.NodeNum);
            findings.candidate = false;
        }
    });
    next([&] { findings.candidate = findings.candidate && ConfigRomSuitsTarget(device); });
    BootloaderInfoRegisters info;
    bool identified = false;
    next([&] { identified = findings.candidate && IdentifiesItself(device, info); });
    next([&] {
        if (!identified || !VerifyCompatibility(info))
            return;
        findings.shellCapable = true;
        ++compatibleNodes;
        globals.CompatibleNodes.push_back({device.NodeNum, info.GUID});
        findings.upgradable = EnterTarget(device, info);
    });
    next([&] { findings.underDebugger = CheckForDebugger(device); });
    return findings;
}

void TellFindings(std::int16_t node, const Findings& findings) {
    if (findings.upgradable)
        StatusDisplay(LEVEL_USER, "Node #{} is firmware-upgradable via 1394.", node);
    if (findings.shellCapable)
        StatusDisplay(LEVEL_USER,
                      "Node #{} is capable of sending and receiving debugging information via the 1394 shell.", node);
    if (findings.underDebugger)
        StatusDisplay(LEVEL_USER, "Node #{} is running under control of the 1394 debugger.", node);
    if (!findings.upgradable && !findings.shellCapable)
        StatusDisplay(LEVEL_TRACE, "Node #{} is not 1394-download-compatible or 1394-shell-compatible.", node);
}

void RunGuidPasses() {
    struct Pass {
        const char* name;
        std::int32_t (*run)();
    };
    constexpr Pass PASSES[] = {{"SynchronizeGUIDs", SynchronizeGUIDs},
                               {"HandleNullGUIDs", HandleNullGUIDs},
                               {"HandleDuplicateGUIDs", HandleDuplicateGUIDs}};
    for (const Pass& pass : PASSES) {
        const std::int32_t result = pass.run();
        if (result != SUCCESS) {
            StatusDisplay(LEVEL_ERROR, "BuildDeviceList error: {} failed, code {}", pass.name, result);
            return;
        }
    }
}

// --- The list ---

// A first record with a null GUID counts as the empty one and is replaced.
void AppendTarget() {
    if (globals.TargetList.front().Info.GUID == NULL_GUID) {
        globals.TargetList.assign(1, BootloaderTarget{});
        return;
    }
    StatusDisplay(LEVEL_TRACE, "CreateBootloaderDevice: redimensioning bootloader targets...");
    globals.TargetList.emplace_back();
    StatusDisplay(LEVEL_TRACE, "CreateBootloaderDevice: redimensioning bootloader GUID...");
}

// --- A bus reset ---

bool TakeTargetListMutex() {
    StatusDisplay(LEVEL_MUTEX, "BusResetHandler is taking the TargetList mutex");
    if (platform::WaitForSingleObject(globals.TargetListMutex, Bits(globals.MutexWaitTime)) == platform::WAIT_OBJECT_0)
        return true;
    StatusDisplay(LEVEL_TRACE, "BusResetHandler failed: Timed out waiting for TargetList mutex");
    return false;
}

void ReleaseTargetListMutex() {
    if (platform::ReleaseMutex(globals.TargetListMutex))
        StatusDisplay(LEVEL_MUTEX, "BusResetHandler released the TargetList Mutex.");
    else
        StatusDisplay(LEVEL_ERROR, "BusResetHandler failed to release the TargetList Mutex.");
}

void ForgetNodeNumbers() {
    globals.DebuggerList.assign(1, Device{});
    for (BootloaderTarget& target : globals.TargetList)
        target.Device.NodeNum = NO_NODE;
}

void AllocateAnnouncementRange() {
    if (bas1394::RangeAllocatedAt(ANNOUNCEMENTS))
        return;
    StatusDisplay(LEVEL_TRACE, "Allocating range of 1394 memory for bootloader callbacks...");
    std::ignore = bas1394::Allocate1394Memory("0xffffc8029000", "0x40");
}

void Discover() {
    if (bas1394::globals.DeviceTable.front().NodeNum != NO_NODE) {
        const std::int32_t result = BuildBootloaderDeviceList();
        if (result < 0)
            StatusDisplay(LEVEL_TRACE, "BusResetHandler failed: call to BuildDeviceList failed, code {}", result);
    }
    globals.DiscoveryComplete = true;
}

} // namespace

std::int32_t BusResetHandler() {
    return platform::ResultOf(
        [] {
            globals.DiscoveryInterrupted = true;
            globals.DiscoveryComplete = false;
            ForgetNodeNumbers();
            AllocateAnnouncementRange();
            if (!TakeTargetListMutex())
                return LIST_MUTEX_TIMED_OUT;
            return platform::Finally(
                [] {
                    Discover();
                    return SUCCESS;
                },
                ReleaseTargetListMutex);
        },
        LogFailure("BusResetHandler"));
}

// Not between the blocks of a load either, whoever runs it: any other request could disturb the target.
bool TakeOwedDiscovery() {
    if (!globals.DiscoveryOwed || AnswerAwaited() || basApp::globals.DownloadInProgress || AnyLoadedByAnother())
        return false;
    globals.DiscoveryOwed = false;
    return true;
}

std::int32_t BuildBootloaderDeviceList() {
    const std::vector<Device>& nodes = bas1394::globals.DeviceTable;
    globals.DiscoveryInterrupted = globals.DiscoveryOwed = false;
    globals.CompatibleNodes.clear();
    if (nodes.front().NodeNum == NO_NODE)
        return FAILED;
    if (nodes.size() > 1)
        StatusDisplay(LEVEL_USER, "Scanning {} nodes on the bus for compatibility...", nodes.size());
    std::int32_t compatibleNodes = 0;
    for (std::size_t index = 0; index < nodes.size(); ++index) {
        const Findings findings = ExamineNode(nodes[index], compatibleNodes);
        if (globals.DiscoveryInterrupted || bas1394::globals.BusResetPending) {
            StatusDisplay(LEVEL_USER, "The bootloader discovery process has been interrupted by another bus reset!");
            return 0;
        }
        TellFindings(nodes[index].NodeNum, findings);
    }
    platform::ResumeNext next{LogFailure("BuildBootloaderDeviceList", RESUMING)};
    next([] { basApp::CurrentFrontEnd().NodesChanged(); });
    next(RunGuidPasses);
    StatusDisplay(LEVEL_USER, "BuildBootloaderDeviceList completed: {} compatible nodes found on the bus.",
                  compatibleNodes);
    return compatibleNodes;
}

std::int32_t FindBootloaderDevice(const Device& device, const BootloaderInfoRegisters& info) {
    if (globals.TargetList.front().Handle == 0) // only the empty record
        return -1;
    const auto found = std::ranges::find_if(globals.TargetList, [&](const BootloaderTarget& target) {
        return target.Info.GUID == info.GUID && target.Device.Driver == device.Driver;
    });
    if (found == globals.TargetList.end())
        return -1;
    found->Device = device;
    return static_cast<std::int32_t>(found - globals.TargetList.begin());
}

std::int32_t CreateBootloaderDevice(const Device& device, const BootloaderInfoRegisters& info) {
    platform::ResumeNext next{LogFailure("CreateBootloaderDevice", "")};
    StatusDisplay(LEVEL_TRACE, "CreateBootloaderDevice for node #{}", device.NodeNum);
    StatusDisplay(LEVEL_TRACE, "CreateBootloaderDevice: checking & redimensioning arrays...");
    if (!next(AppendTarget)) // the last record belongs to another target
        return -1;
    BootloaderTarget& target = globals.TargetList.back();
    StatusDisplay(LEVEL_TRACE, "CreateBootloaderDevice: allocating shell buffer...");
    next([&] { target.Shell.Create(); });
    if (!VerifyCompatibility(info)) {
        StatusDisplay(LEVEL_TRACE, "CreateBootloaderDevice failed: VerifyCompatibility support returned FALSE");
        return -1;
    }
    StatusDisplay(LEVEL_TRACE, "CreateBootloaderDevice: compatibility verified...");
    target.State = CREATED_STATE;
    target.Handle = INVALID_HANDLE_ERROR;
    target.Info = info;
    next([&] { target.Device = device; });
    StatusDisplay(LEVEL_TRACE,
                  "CreateBootloaderDevice: successfully created a new bootloader device (node={}, state={})",
                  device.NodeNum, target.State);
    return static_cast<std::int32_t>(globals.TargetList.size()) - 1;
}

std::int32_t ConnectToBootloaderDevice(BootloaderTarget& target) {
    if (target.Info.BootloaderVersion <= 0)
        return FAILED;
    const char* busy = AnswerAwaited(target.Handle)     ? "busy with an exchange"
                       : LoadedByAnother(target.Handle) ? "being loaded by another program"
                                                        : nullptr;
    if (busy) {
        globals.DiscoveryOwed = true;
        StatusDisplay(LEVEL_TRACE, "ConnectToBootloaderDevice: node #{} is {}, discovery is repeated after it",
                      target.Device.NodeNum, busy);
        return SUCCESS;
    }
    const std::int32_t halted = HaltBootloader(target.Handle);
    if (halted != SUCCESS)
        StatusDisplay(LEVEL_WATCH, "BuildDeviceList warning: failed to halt bootloader target (GUID={}), code {}",
                      basUtils::ByteArrayToHexString(target.Info.GUID.data(), target.Info.GUID.size()), halted);
    const std::int32_t got = GetDebugGUID(target.Handle, target.DebugGUID);
    if (got != SUCCESS)
        StatusDisplay(LEVEL_ERROR, "ConnectToBootloaderDevice failure: GetDebugGUID failed, code {}", got);
    else
        StatusDisplay(LEVEL_TRACE, "ConnectToBootloaderDevice: got debug guid for node #{}", target.Device.NodeNum);
    return SUCCESS;
}

} // namespace basBootloader

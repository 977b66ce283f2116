#include "bas1394.h"

#include "Failure.h"
#include "LibraryCalls.h"
#include "basUtils.h"

#include <fmt/format.h>

#include <algorithm>

namespace bas1394 {

Globals globals;
Hooks hooks;

namespace {

constexpr std::uint32_t DRIVER_START_TIME = 500;        // ms
constexpr Address1394 TOPOLOGY_MAP{0xFFFF, 0xF0001000}; // IEEE 1394-1995, 8.3.2.4.1
constexpr std::uint32_t TOPOLOGY_MAP_SIZE = 1024;
constexpr std::size_t SELF_IDS_START = 12; // byte of the first self-ID packet
constexpr std::size_t MAX_NODES = 63;
static_assert(SELF_IDS_START + MAX_NODES * 8 <= TOPOLOGY_MAP_SIZE); // with an extended packet each

// The number that Get1394Address gives, picked by `mask`; -1 on failure.
std::int32_t PartOfNodeAddress(const char* procedure, std::uint32_t mask) {
    std::uint16_t nodeAddress = 0;
    const std::int32_t code = library::Get1394Address(nodeAddress);
    if (code != 0) {
        StatusDisplay(LEVEL_WARNING, "{} failed, Get1394AddressFromDeviceObject returned code {}", procedure, code);
        return RESULT_FAILED;
    }
    return static_cast<std::int32_t>(basUtils::ExtractBitField(nodeAddress, mask));
}

void NameNewVirtualDevices() {
    if (globals.LastVirtualDeviceCount >= 1)
        return;
    for (std::size_t i = 0; i < globals.VirtualDeviceList.Names.size(); ++i)
        StatusDisplay(LEVEL_WATCH, "Virtual Device #{}={}", i, globals.VirtualDeviceList.Names[i]);
}

std::int32_t FindVirtualDevices() {
    globals.VirtualDeviceList = library::GetVirtualDeviceList();
    const std::int32_t count = globals.VirtualDeviceList.DeviceCount;
    if (count < 1) {
        AddVirtualDevice(VIRTUAL_DEVICE);
        platform::Sleep(DRIVER_START_TIME);
        StatusDisplay(LEVEL_USER, "BusResetHandlerThread: unable to load 1394 virtual device driver.  No interface to "
                                  "the bus!");
        globals.VirtualDeviceLoadFailed = true;
    } else if (globals.VirtualDeviceLoadFailed) {
        StatusDisplay(LEVEL_USER, "BusResetHandlerThread: 1394 virtual device driver loaded on retry.");
        globals.VirtualDeviceLoadFailed = false;
        basApp::CurrentFrontEnd().StartBusTimers();
    }
    NameNewVirtualDevices();
    globals.LastVirtualDeviceCount = count;
    StatusDisplay(LEVEL_TRACE, "BusResetHandlerThread: {} virtual devices found and 0 diagnostic devices.", count);
    return count;
}

} // namespace

void PrepareTables() {
    globals.DeviceTable.assign(1, Device{});
    globals.AddressRanges.assign(1, Twl1394AddressRange{});
}

Device FindDevice(const std::string& driver, std::int16_t nodeNum) {
    const auto& table = globals.DeviceTable;
    const auto found = std::find_if(table.begin(), table.end(), [&](const Device& device) {
        return device.Driver == driver && device.NodeNum == nodeNum;
    });
    return found == table.end() ? globals.NullDevice : *found;
}

std::int32_t IndexOfNode(std::int16_t nodeNum) {
    const auto& table = globals.DeviceTable;
    const auto found =
        std::find_if(table.begin(), table.end(), [&](const Device& device) { return device.NodeNum == nodeNum; });
    return found == table.end() ? -1 : static_cast<std::int32_t>(found - table.begin());
}

SelfId DecodeSelfId(const std::uint8_t packet[4]) {
    const auto field = [packet](int byte, std::uint32_t mask) {
        return static_cast<std::uint8_t>(basUtils::ExtractBitField(packet[byte], mask));
    };
    SelfId id;
    id.PhysId = field(0, 0x3F);
    id.PacketId = field(0, 0xC0);
    id.GapCount = field(1, 0x3F);
    id.LinkActive = field(1, 0x40);
    id.Zero = field(1, 0x80) != 0;
    id.PowerClass = field(2, 0x07);
    id.Contender = field(2, 0x08);
    id.Delay = field(2, 0x30);
    id.Speed = field(2, 0xC0);
    id.MorePackets = field(3, 0x01);
    id.InitiatedReset = field(3, 0x02);
    id.Port3 = field(3, 0x0C);
    id.Port2 = field(3, 0x30);
    id.Port1 = field(3, 0xC0);
    return id;
}

std::int32_t GetLocalHostNode() {
    const std::int32_t node = PartOfNodeAddress("GetLocalHostNode", 0x003F);
    if (node >= 0)
        StatusDisplay(LEVEL_TRACE, "LocalHostNode = {}", node);
    return node;
}

std::int32_t GetBusNumber() {
    const std::int32_t bus = PartOfNodeAddress("GetBusNumber", 0xFFC0);
    if (bus >= 0)
        StatusDisplay(LEVEL_TRACE, "Bus Number = {}", bus);
    return bus;
}

std::int32_t AddVirtualDevice(const std::string& name) {
    const std::int32_t code = library::AddVirtualDriver(name);
    if (code != 0)
        StatusDisplay(LEVEL_ERROR, "AddVirtualDevice: AddVirtualDriver failed, code 0x{:X}",
                      static_cast<std::uint32_t>(code));
    return code;
}

std::int32_t RemoveVirtualDevice(const std::string& name) {
    const std::int32_t code = library::RemoveVirtualDriver(name);
    if (code != 0)
        StatusDisplay(LEVEL_ERROR, "RemoveVirtualDevice: RemoveVirtualDriver failed, code 0x{:X}",
                      static_cast<std::uint32_t>(code));
    StatusDisplay(LEVEL_WATCH, "RemoveVirtualDriver returned code #{}", code);
    return code;
}

std::int32_t GetVirtualDevices() {
    std::int32_t count = 0;
    platform::Attempt([&] { count = FindVirtualDevices(); }, LogFailure("IncomingDataThreadHandler"));
    return count;
}

std::int32_t GetTopologyMap(TopologyMap& map) {
    const ByteArray data = library::GetLocalHostInformation(TOPOLOGY_MAP, TOPOLOGY_MAP_SIZE);
    map = {};
    map.MapLength = basUtils::ByteArrayToLong(data, 0, 1);
    map.MapCrc = basUtils::ByteArrayToLong(data, 2, 3);
    map.Generation = basUtils::ByteArrayToLong(data, 4);
    map.NodeCount = basUtils::ByteArrayToInt(data, 8);
    map.SelfIdCount = basUtils::ByteArrayToInt(data, 10);
    std::size_t position = SELF_IDS_START;
    for (std::size_t i = 0; static_cast<std::int32_t>(i) < map.SelfIdCount; ++i) {
        if (i >= MAX_NODES) {
            StatusDisplay(LEVEL_WARNING, "GetTopologyMap: the map tells of {} self-IDs, only {} are taken.",
                          map.SelfIdCount, i);
            break;
        }
        map.SelfIds.resize(i + 1);
        map.SelfIds[i] = DecodeSelfId(data.data() + position);
        position += map.SelfIds[i].MorePackets != 0 ? 8 : 4;
    }
    return RESULT_SUCCESS;
}

void ResetBus() {
    library::BusReset();
}
void SetDllMessageLevel(std::int32_t level) {
    library::SetDebugSpew(level);
}

std::int32_t HookSystemModule(const ByteArray& name) {
    return library::HookSystemModule(reinterpret_cast<const char*>(name.data()));
}

float QueryElapsedTimeMs(std::int64_t counter) {
    return float(library::ElapsedMs(counter));
}

std::string AddressText(Address1394 address) {
    return fmt::format("{:04X}{:08X}", address.AddressHigh, address.AddressLow);
}

} // namespace bas1394

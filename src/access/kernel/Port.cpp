#include "Port.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <tuple>

#include <linux/firewire-cdev.h>

namespace kernel_bus {

namespace {

constexpr std::uint32_t CLIENT_VERSION = 5; // of the interface; from 6 on the kernel sends other kinds of events
constexpr std::uint32_t LEAST_VERSION = 4;  // has FW_CDEV_EVENT_REQUEST2 and fw_cdev_allocate.region_end
constexpr std::uint32_t NODE_MASK = 0x3F;
constexpr std::uint32_t TARGET_VENDOR = 0x000F1B;
constexpr std::size_t ROM_QUADLETS = 256; // IEEE 1212: 1024 bytes

using Rom = std::array<std::uint32_t, ROM_QUADLETS>;

// Also starts the events of bus resets. `rom` null: only node and generation.
int GetInfo(KernelCalls& calls, Port& port, Rom* rom) {
    fw_cdev_event_bus_reset state{};
    fw_cdev_get_info info{};
    info.version = CLIENT_VERSION;
    info.bus_reset = reinterpret_cast<std::uintptr_t>(&state);
    if (rom != nullptr) {
        info.rom = reinterpret_cast<std::uintptr_t>(rom->data());
        info.rom_length = sizeof *rom;
    }
    const int result = calls.Control(port.descriptor, FW_CDEV_IOC_GET_INFO, &info);
    if (result < 0)
        return result;
    port.card = info.card;
    port.node = state.node_id & NODE_MASK;
    port.generation = state.generation;
    port.localNodeId = static_cast<std::uint16_t>(state.local_node_id);
    if (rom != nullptr) // only now: the number that a departed device had may later be this computer's
        port.isLocal = state.node_id == state.local_node_id;
    return info.version < LEAST_VERSION ? -EPROTO : 0;
}

} // namespace

bool IsDeviceFile(const std::string& name) {
    constexpr std::size_t prefix = 2;
    return name.size() > prefix && name.starts_with("fw") &&
           std::all_of(name.begin() + prefix, name.end(), [](char c) { return c >= '0' && c <= '9'; });
}

int OpenPort(KernelCalls& calls, const std::string& file, Port& port) {
    const int descriptor = calls.Open(calls.DeviceFolder() + "/" + file);
    if (descriptor < 0)
        return descriptor;
    port.file = file;
    port.descriptor = descriptor;
    Rom rom{};
    const int result = GetInfo(calls, port, &rom);
    if (result < 0) {
        calls.Close(descriptor);
        return result;
    }
    port.isTarget = !port.isLocal && IsTargetRom(rom);
    return 0;
}

int RefreshPort(KernelCalls& calls, Port& port) {
    return GetInfo(calls, port, nullptr);
}

bool IsTargetRom(std::span<const std::uint32_t> rom) {
    constexpr std::size_t guidQuadlet = 3;
    constexpr std::uint32_t vendorKey = 0x03; // immediate entry "module vendor" (IEEE 1212)
    if (rom.size() <= guidQuadlet)
        return false;
    if (rom[guidQuadlet] >> 8 == TARGET_VENDOR) // the upper 24 bits of the GUID; but that can be programmed
        return true;
    const std::size_t root = 1 + (rom[0] >> 24);
    if (root >= rom.size())
        return false;
    const std::size_t entries = std::min<std::size_t>(rom[root] >> 16, rom.size() - root - 1);
    const auto directory = rom.subspan(root + 1, entries);
    return std::ranges::any_of(directory,
                               [](std::uint32_t entry) { return entry == (vendorKey << 24 | TARGET_VENDOR); });
}

} // namespace kernel_bus

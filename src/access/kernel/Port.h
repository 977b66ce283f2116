// An open device file and its node.
#pragma once

#include "KernelCalls.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace kernel_bus {

// A file belongs to one device for as long as it exists; the device's number changes with bus resets. The file of a
// device that has left the bus stays for some seconds, with the number and the generation that the device had last.
struct Port {
    std::string file; // "fw3"
    int descriptor = -1;
    std::uint32_t card = 0;
    std::uint32_t node = 0;                 // 0 to 62
    std::uint32_t generation = 0;           // in which the node had this number
    std::uint16_t localNodeId = 0;          // this computer: bits 0 to 5 node, 6 to 15 bus
    bool isLocal = false;                   // it is this computer's adapter
    bool isTarget = false;                  // by the vendor of its GUID or its ROM
    std::optional<std::uint32_t> knownNode; // its number when the client last read the topology
    std::uint32_t owedAnswers = 0;          // transactions that the kernel hasn't ended
};

using Ports = std::vector<std::unique_ptr<Port>>;

// Whether the file's name is that of a FireWire device: "fw" and a number.
bool IsDeviceFile(const std::string& name);

// 0 and an open port, or -errno: -EPROTO for a kernel whose interface is too old.
int OpenPort(KernelCalls& calls, const std::string& file, Port& port);
// Reads node and generation again. 0 or -errno.
int RefreshPort(KernelCalls& calls, Port& port);

// Whether a ROM, in quadlets of this machine's byte order, names the vendor of targets.
bool IsTargetRom(std::span<const std::uint32_t> rom);

} // namespace kernel_bus

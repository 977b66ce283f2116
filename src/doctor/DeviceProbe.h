// What a device file of the kernel's FireWire stack tells, without a library in between. Nothing is sent to a device.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace doctor {

// The system calls on device files. Their results are -errno on failure.
struct DeviceCalls {
    std::function<int(const std::string& path)> Open; // a descriptor
    std::function<int(int descriptor, unsigned long request, void* argument)> Control;
    std::function<void(int descriptor)> Close;
};
DeviceCalls RealDeviceCalls();

struct FileFacts {
    int Error = 0;             // errno of opening; the rest is unknown then
    std::uint32_t Version = 0; // of the kernel's interface
    int Speed = -1;            // to this node, 0: S100, 1: S200, 2: S400 ...; -1 when it isn't known
};

FileFacts ProbeFile(const DeviceCalls& calls, const std::string& path);
// Whether an address range could be had on the adapter with this file: 0 or an errno. It isn't kept.
int TryRange(const DeviceCalls& calls, const std::string& path, std::uint64_t address, std::uint32_t length);
// The self-ID packets of all nodes on the bus of the adapter with this file. Empty if they can't be read within half a
// second.
std::vector<std::uint32_t> ReadSelfIds(const DeviceCalls& calls, const std::string& path);

} // namespace doctor

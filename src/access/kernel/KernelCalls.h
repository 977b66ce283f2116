// The system calls on the device files of the kernel's FireWire stack: the seam at which tests put a kernel of their
// own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

struct pollfd;

namespace kernel_bus {

// Results that aren't negative are the system's own; -errno on failure.
class KernelCalls {
public:
    virtual ~KernelCalls() = default;
    virtual std::string DeviceFolder() const { return "/dev"; } // of fw0, fw1, ...; watched for changes
    virtual int Open(const std::string& path);
    virtual int Control(int descriptor, unsigned long request, void* argument);
    // Called only when the descriptor has been found readable: the kernel's read waits, O_NONBLOCK or not.
    virtual int Read(int descriptor, void* buffer, std::size_t size);
    // May wait until the kernel has ended the open transactions of the descriptor.
    virtual void Close(int descriptor);
    // Waits without a limit. Also for descriptors that aren't device files.
    virtual int Poll(pollfd* descriptors, std::size_t count);
    virtual std::int64_t Now(); // nanoseconds of CLOCK_MONOTONIC
};

KernelCalls& CurrentKernelCalls();

} // namespace kernel_bus

// For tests, while no client is registered. Null restores the real calls.
extern "C" __attribute__((visibility("default"))) void KernelLibraryUseCalls(kernel_bus::KernelCalls* calls);

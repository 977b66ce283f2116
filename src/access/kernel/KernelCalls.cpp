#include "KernelCalls.h"

#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace kernel_bus {

namespace {

KernelCalls realCalls;
KernelCalls* current = &realCalls;

int ResultOf(int result) {
    return result < 0 ? -errno : result;
}

} // namespace

int KernelCalls::Open(const std::string& path) {
    return ResultOf(::open(path.c_str(), O_RDWR | O_CLOEXEC));
}

int KernelCalls::Control(int descriptor, unsigned long request, void* argument) {
    int result = 0;
    do
        result = ResultOf(::ioctl(descriptor, request, argument));
    while (result == -EINTR);
    return result;
}

int KernelCalls::Read(int descriptor, void* buffer, std::size_t size) {
    return ResultOf(static_cast<int>(::read(descriptor, buffer, size)));
}

void KernelCalls::Close(int descriptor) {
    ::close(descriptor);
}

int KernelCalls::Poll(pollfd* descriptors, std::size_t count) {
    return ResultOf(::poll(descriptors, count, -1));
}

std::int64_t KernelCalls::Now() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

KernelCalls& CurrentKernelCalls() {
    return *current;
}

} // namespace kernel_bus

extern "C" void KernelLibraryUseCalls(kernel_bus::KernelCalls* calls) {
    kernel_bus::current = calls == nullptr ? &kernel_bus::realCalls : calls;
}

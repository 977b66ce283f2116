#include "WakeUp.h"

#include "Failure.h"

#include <cerrno>
#include <cstring>
#include <tuple>

#include <sys/eventfd.h>
#include <unistd.h>

namespace platform {

WakeUp::WakeUp() : descriptor_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
    if (descriptor_ < 0)
        Raise(NumberOfError(errno), std::strerror(errno));
}
WakeUp::~WakeUp() {
    close(descriptor_);
}

void WakeUp::Set() const {
    const int interrupted = errno;               // of whatever a signal handler interrupts
    std::ignore = eventfd_write(descriptor_, 1); // fails only on a counter that is full, which is readable anyway
    errno = interrupted;
}
void WakeUp::Clear() const {
    eventfd_t count = 0;
    std::ignore = eventfd_read(descriptor_, &count);
}

} // namespace platform

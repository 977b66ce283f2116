#include "StandardStreams.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>

namespace platform {

void OpenStandardStreams() {
    std::signal(SIGPIPE, SIG_IGN);
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor)
        while (fcntl(descriptor, F_GETFD) < 0 && errno == EBADF)
            if (open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY) < 0) // the lowest free one
                return;
}

bool WriteTo(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(descriptor, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EAGAIN) {
            pollfd wait{descriptor, POLLOUT, 0};
            poll(&wait, 1, -1);
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

} // namespace platform

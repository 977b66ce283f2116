#include "StandardStreams.h"

#include "CodePage.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>

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

int ColumnsOf(int descriptor) {
    winsize size{};
    return ioctl(descriptor, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

// Not by setlocale: that knows only the locales that are installed here, while a remote terminal names its own.
bool LocaleIsUtf8() {
    for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const char* value = std::getenv(name);
        if (value == nullptr || *value == '\0')
            continue;
        const std::string locale = UpperCase(value);
        return locale.find("UTF-8") != std::string::npos || locale.find("UTF8") != std::string::npos;
    }
    return false;
}

std::int64_t ReadFrom(int descriptor, char* to, std::size_t size) {
    ssize_t count = 0;
    do
        count = read(descriptor, to, size);
    while (count < 0 && errno == EINTR);
    return count;
}

} // namespace platform

#include "Terminal.h"

#include <atomic>

#include <termios.h>

namespace platform {

namespace {

constexpr int NONE = -1;

struct Globals {
    std::atomic<int> descriptor = NONE; // of the raw terminal
    termios before{};                   // complete before the descriptor is set
} globals;
static_assert(std::atomic<int>::is_always_lock_free, "it is read by a signal handler");

termios RawMode(termios mode) {
    mode.c_iflag &= ~tcflag_t(IGNBRK | BRKINT | PARMRK | ISTRIP | INLCR | IGNCR | ICRNL | IXON);
    mode.c_lflag &= ~tcflag_t(ECHO | ECHONL | ICANON | ISIG | IEXTEN);
    mode.c_cflag = (mode.c_cflag & ~tcflag_t(CSIZE | PARENB)) | CS8;
    mode.c_cc[VMIN] = 1;
    mode.c_cc[VTIME] = 0;
    return mode; // with the output's processing: messages end in a bare line feed
}

} // namespace

RawTerminal::RawTerminal(int descriptor) {
    if (tcgetattr(descriptor, &globals.before) != 0)
        return;
    globals.descriptor = descriptor;
    const termios raw = RawMode(globals.before);
    tcsetattr(descriptor, TCSANOW, &raw);
}

RawTerminal::~RawTerminal() {
    RestoreTerminal();
}

void RestoreTerminal() {
    const int descriptor = globals.descriptor.exchange(NONE);
    if (descriptor != NONE)
        tcsetattr(descriptor, TCSANOW, &globals.before); // without waiting for output: a stopped terminal takes none
}

} // namespace platform

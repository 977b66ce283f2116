// A terminal that hands over each key as it is typed.
#pragma once

namespace platform {

// From construction to destruction no line is collected, no key is shown or makes a signal; output stays as it was. The
// previous mode also returns when a second signal ends the process (EndRequest.h). Nothing for a descriptor that isn't
// a terminal. One at a time.
class RawTerminal {
public:
    explicit RawTerminal(int descriptor);
    ~RawTerminal();
    RawTerminal(const RawTerminal&) = delete;
    RawTerminal& operator=(const RawTerminal&) = delete;
};

// Any thread, and a signal handler; nothing without a raw terminal.
void RestoreTerminal();

} // namespace platform

// How the program ends when neither a user nor a run ends it.
#pragma once

#include "WindowSystem.h"

#include <memory>

namespace program {

// For the time after basApp::Main: while it exists, a signal that asks for the end ends the program in order.
class EndWatch {
public:
    EndWatch();
    EndWatch(const EndWatch&) = delete;
    EndWatch& operator=(const EndWatch&) = delete;

private:
    std::unique_ptr<platform::Timer> timer_; // off until the signal
    std::unique_ptr<platform::DescriptorWatch> watch_;
};

// For a process that is already exiting, in the middle of whatever the program does: an ERROR line with `reason`
// and the state of the device, then the shutdown, without windows and access library.
void EndWithoutWindows(const char* reason);

} // namespace program

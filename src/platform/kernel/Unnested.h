// What timers and watched descriptors have in common: a call that gives the loop a turn isn't run again inside itself.
#pragma once

namespace platform {

// Runs `call` with `running` set until it returns or fails.
template <class Call> void RunUnnested(bool& running, Call&& call) {
    struct Running {
        explicit Running(bool& which) : flag(which) { flag = true; }
        ~Running() { flag = false; }
        bool& flag;
    };
    const Running guard(running);
    call();
}

} // namespace platform

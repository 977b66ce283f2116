// What a node can request from the bus.
#pragma once

#include "WireBytes.h"

#include <functional>
#include <string>

namespace simulator {

// Levels of the debug text, numbered like the program's message levels.
inline constexpr int DEBUG_DETAIL = 1, DEBUG_TRACE = 5, DEBUG_WARNING = 7, DEBUG_ALWAYS = 17;

struct Surroundings {
    std::function<std::int64_t()> now; // nanoseconds
    std::function<void(std::int64_t nanoseconds, std::function<void()> call)> after;
    std::function<void()> leaveBus; // a bus reset follows
    std::function<void()> joinBus;  // a bus reset follows
    // The node writes into this computer's memory.
    std::function<void(std::uint64_t address, ByteView data)> writeToHost;
    std::function<void(int level, const std::string& text)> debugText;
};

} // namespace simulator

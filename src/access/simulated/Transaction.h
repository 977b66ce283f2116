// One read or write on the bus.
#pragma once

#include "WireBytes.h"

#include <optional>

namespace simulator {

struct Transaction {
    bool isWrite = false;
    std::uint32_t nodeNumber = 0;
    std::uint64_t address = 0;
    std::uint32_t timeoutMs = 0;
    Bytes data; // written, or read
};

} // namespace simulator

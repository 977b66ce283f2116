// The faults of a description: which transaction is hit, counted, never timed.
#pragma once

#include "BusDescription.h"

namespace simulator {

// What a fault can be asked to match.
struct TransactionFacts {
    std::uint64_t number = 0;          // 1 for the first since the bus was described
    std::optional<std::uint32_t> node; // index in nodes; nothing for a broadcast or an empty place
    bool isWrite = false;
    std::uint64_t address = 0;
    std::optional<std::uint8_t> command; // of a request
};

class Faults {
public:
    void Add(const FaultDescription& fault) { faults_.push_back({fault, 0, false}); }
    // Every fault that matches counts the transaction; the first one whose turn it is hits it.
    std::optional<FaultDescription> Hit(const TransactionFacts& facts);
    // The standalone ones that are due once so many transactions are through, each once.
    std::vector<FaultDescription> DueAfter(std::uint64_t transactions);

private:
    struct Counted {
        FaultDescription fault;
        std::uint64_t matches;
        bool done; // of a standalone one
    };
    std::vector<Counted> faults_;
};

} // namespace simulator

// The faults of a description. They hit transactions by count, never by time.
#pragma once

#include "BusDescription.h"

namespace simulator {

// The properties of a transaction that a fault can match.
struct TransactionFacts {
    std::uint64_t number = 0;          // 1 for the first since the bus was described
    std::optional<std::uint32_t> node; // index in nodes; empty for a broadcast or an absent node
    bool isWrite = false;
    std::uint64_t address = 0;
    std::optional<std::uint8_t> command; // of a request
};

class Faults {
public:
    void Add(const FaultDescription& fault) { faults_.push_back({fault, 0, false}); }
    // Every matching fault counts the transaction; the first one that is due hits it.
    std::optional<FaultDescription> Hit(const TransactionFacts& facts);
    // The standalone faults that are due after so many transactions, each once.
    std::vector<FaultDescription> DueAfter(std::uint64_t transactions);

private:
    struct Counted {
        FaultDescription fault;
        std::uint64_t matches;
        bool done; // of a standalone fault
    };
    std::vector<Counted> faults_;
};

} // namespace simulator

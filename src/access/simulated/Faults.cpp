#include "Faults.h"

namespace simulator {

static bool Matches(const FaultDescription& fault, const TransactionFacts& facts) {
    return !fault.standalone && facts.number > fault.afterTransactions && (!fault.node || fault.node == facts.node) &&
           (!fault.isWrite || fault.isWrite == facts.isWrite) && (!fault.address || fault.address == facts.address) &&
           (!fault.command || fault.command == facts.command);
}

std::optional<FaultDescription> Faults::Hit(const TransactionFacts& facts) {
    std::optional<FaultDescription> hit;
    for (Counted& counted : faults_) {
        if (!Matches(counted.fault, facts))
            continue;
        ++counted.matches;
        const bool itsTurn =
            counted.matches > counted.fault.skip && counted.matches - counted.fault.skip <= counted.fault.count;
        if (itsTurn && !hit)
            hit = counted.fault;
    }
    return hit;
}

std::vector<FaultDescription> Faults::DueAfter(std::uint64_t transactions) {
    std::vector<FaultDescription> due;
    for (Counted& counted : faults_) {
        if (counted.fault.standalone && !counted.done && transactions >= counted.fault.afterTransactions) {
            counted.done = true;
            due.push_back(counted.fault);
        }
    }
    return due;
}

} // namespace simulator

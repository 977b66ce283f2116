// The simulated bus: nodes and their numbers, resets and notices, transactions and their faults.
// It has neither a lock nor a clock of its own; its owner provides both.
#pragma once

#include "Faults.h"
#include "Node.h"
#include "Trace.h"

#include <map>

namespace simulator {

// What the bus needs of its owner.
struct BusOutlets {
    std::function<std::int64_t()> now;                                   // nanoseconds
    std::function<void(std::int64_t due, std::function<void()>)> callAt; // nanoseconds
    std::function<void(std::uint32_t number)> postNotice;
    std::function<void(int level, const std::string& text)> debugText;
};

class Bus {
public:
    // A state directory has to be writable, and locked by the owner.
    Bus(const BusDescription& description, BusOutlets outlets);
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    // A transaction begins, takes its time, and ends with a result that depends on what happened meanwhile.
    struct Started {
        std::uint32_t generation;
        std::int64_t nanoseconds; // how long it takes
        bool timesOut;
    };
    Started Begin(std::uint32_t timeoutMs);
    [[nodiscard]] std::int32_t End(const Started& started, Transaction& transaction);

    void Reset();
    void SetPlugged(std::uint32_t node, bool plugged);
    void AddFault(const FaultDescription& fault) { faults_.Add(fault); }
    std::uint64_t Transactions() const { return transactions_; }

    std::uint32_t HostNumber() const;
    Bytes Topology() const;
    // 0 if the range is empty, exceeds the address space or overlaps another.
    std::uint32_t AllocateRange(std::uint64_t address, std::uint32_t length);
    bool FreeRange(std::uint32_t handle) { return ranges_.erase(handle) != 0; }
    void FreeRanges() { ranges_.clear(); }
    // Null if it isn't a target.
    const Target* TargetAt(std::uint32_t node) const;

private:
    struct Range {
        std::uint64_t address;
        std::uint32_t length;
    };

    void AddNode(const BusDescription& description, std::uint32_t index);
    Surroundings SurroundingsOf(std::uint32_t index);
    // Index of the node that currently has this number.
    std::optional<std::uint32_t> IndexOf(std::uint32_t nodeNumber) const;
    TransactionFacts FactsOf(const Transaction& transaction) const;
    [[nodiscard]] std::int32_t Deliver(Transaction& transaction);
    [[nodiscard]] std::int32_t DeliverFaulty(const FaultDescription& fault, const TransactionFacts& facts,
                                             Transaction& transaction);
    void Carry(const FaultDescription& standalone);
    void CarryDueFaults();
    void WriteToHost(std::uint64_t address, ByteView data);
    void PostNotice(std::uint32_t number);
    double Milliseconds() const { return static_cast<double>(outlets_.now() - start_) / 1e6; }

    BusOutlets outlets_;
    std::int64_t transactionNanoseconds_;
    std::int64_t start_;
    Trace trace_;
    std::vector<std::unique_ptr<Node>> nodes_; // as described; those on the bus are numbered in this order
    Faults faults_;
    std::uint64_t transactions_ = 0;
    std::uint32_t generation_ = 1;
    std::map<std::uint32_t, Range> ranges_; // of this computer, by handle
    std::uint32_t lastHandle_ = 0;
};

} // namespace simulator

// The bus that a record was made on, as a description for the simulated bus: what was seen of its nodes, and the faults
// where they happened.
#pragma once

#include "NodeOfRecord.h"

#include <set>

namespace record {

// Takes all entries in their order, and keeps what a description needs of them.
//
// Nodes are those of the first topology map and later newcomers. A bus reset is a fault of its own unless the program
// asked for it, or a device left with it that was to restart.
class BusFromRecord {
public:
    void Take(const recording::Entry& entry);
    // As docs/simulated-bus.md has it; no nodes if the record has no topology map.
    [[nodiscard]] Json Description() const;
    // What the record left open, a sentence each.
    [[nodiscard]] std::vector<std::string> Doubts() const;

private:
    struct Restart { // of a node that was told to
        std::size_t index;
        bool isAway = false;
        std::int64_t left = 0;         // microseconds
        std::uint64_t transaction = 0; // before the request
    };

    struct OpenReset {
        std::uint64_t transactions; // before it
        std::int64_t time;          // microseconds
    };

    void TakeTopology(const recording::Entry& entry);
    void TakeHost(std::uint32_t number);
    void TakeTransaction(const recording::Entry& entry);
    void TakeInterruption(const recording::Entry& entry, NodeOfRecord& node);
    void TakeReset(const recording::Entry& entry);
    void PlaceNodes(std::size_t count);
    void CheckPlace(const recording::Entry& entry, std::size_t index);
    void EndOpenResets(std::size_t count);
    void AddFault(Json fault) { faults_.push_back(std::move(fault)); }

    std::vector<NodeOfRecord> nodes_;
    std::vector<std::size_t> places_; // index in nodes_ by node number
    std::set<std::size_t> unplugged_;
    std::vector<Restart> restarts_;
    std::vector<OpenReset> openResets_;      // nobody asked for them, and no topology map has been read since
    std::optional<std::size_t> interrupted_; // the node whose transaction the last reset ended, likewise
    std::size_t ownResets_ = 0;              // asked for, not yet posted
    std::uint64_t transactions_ = 0;
    std::int64_t shortest_ = 0; // microseconds of a transaction; 0 before the first
    std::vector<Json> faults_;
    std::size_t lastRestarted_ = 0;
    bool resetUnread_ = false; // no topology map since the last one
    bool redacted_ = false, unclear_ = false;
};

} // namespace record

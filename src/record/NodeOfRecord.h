// A node of the bus that a record was made on, as far as its transactions show it.
#pragma once

#include "TargetMemory.h"

#include <nlohmann/json.hpp>

#include <array>
#include <map>
#include <string>
#include <vector>

namespace record {

using Json = nlohmann::ordered_json;

// A fault of docs/simulated-bus.md at this node, which the description's index of the node completes.
struct NodeFault {
    Json Conditions; // "operation" and "address", or "command"; "skip" and "count"
    std::string Effect;
    Json Value;
};

class NodeOfRecord {
public:
    // A transaction with this node.
    void Take(const recording::Entry& entry);

    bool IsHost = false, IsOff = false;
    bool Announces = false;
    std::int64_t AwayFor = 0;                 // microseconds of its last restart; 0 if it hasn't been seen
    [[nodiscard]] std::uint64_t Guid() const; // by its ROM; 0 before both halves were read
    [[nodiscard]] bool IsTarget() const { return !info_.empty(); }
    // The last request may take it off the bus.
    [[nodiscard]] bool MayRestart() const { return mayRestart_; }
    [[nodiscard]] Json Description() const;
    [[nodiscard]] const std::vector<NodeFault>& Faults() const { return faults_; }
    // The result of a transaction that a reset has ended, when the reset isn't the node's own.
    void NoteReset(const recording::Entry& entry);
    // The reset that was noted last came because the node was unplugged.
    void NoteUnplugged();
    // No answer to its last request comes any more.
    void EndExchange();

private:
    struct Exchange {
        Header header;
        recording::Bytes operands;
        std::int64_t sent = 0, lastPoll = 0; // microseconds; lastPoll: the last one without the answer
        bool polled = false, answered = true;
        std::uint64_t number = 0; // of requests with this command before it
    };
    struct PendingKey {
        std::string name;
        recording::Bytes value;
        std::uint32_t size = 0, part = 0, offset = 0;
    };

    void TakeRom(const recording::Entry& entry);
    void TakeInfo(const recording::Entry& entry);
    void TakeRequest(const recording::Entry& entry, const Header& header);
    void TakeAnswer(const recording::Entry& entry, const Header& header);
    void JudgeAnswer(const recording::Bytes& operands);
    void TakeKeyPart(const recording::Entry& entry);
    void NoteFailure(const recording::Entry& entry, const char* effect, const Json& value);
    void NoteCommandFault(const char* effect, const Json& value);
    [[nodiscard]] std::int64_t WorkTime(const recording::Entry& answer) const; // ms
    [[nodiscard]] std::string RomHex() const;
    void DescribeTarget(Json& node) const;

    using Matching = std::pair<bool, std::uint64_t>; // is it a write; address
    std::map<Matching, std::uint64_t> seen_;         // transactions so far
    std::map<int, std::uint64_t> commands_;          // requests so far, by code
    std::map<std::size_t, std::uint32_t> rom_;       // quadlets by their index, as first read
    recording::Bytes info_;                          // registers as first read
    recording::Bytes bootloaderInfo_;                // the same while the bootloader ran
    bool inBootloader_ = false, mayRestart_ = false;
    Exchange exchange_;
    PendingKey key_;
    std::map<std::string, recording::Bytes> keys_;
    std::uint32_t maxBlockSize_ = 0;
    std::int64_t eraseMs_ = -1, checkMs_ = -1;
    std::vector<NodeFault> faults_;
};

} // namespace record

// Takes out of a record what its owner may not want to send: what crosses the bulk buffers of a target (images, keys,
// text of consoles) becomes its digest, GUIDs and MAC addresses become counters.
#pragma once

#include "RecordEntry.h"

#include <map>
#include <set>

namespace recording {

// Entries in their order; the same value always becomes the same counter.
//
// A GUID keeps its vendor, the upper 24 bits; the rest is a counter from 1 on. 0, no GUID, stays. In a config ROM the
// bus information block has it; its CRC is left as it was.
class Redaction {
public:
    // False if nothing of the entry may stay.
    bool Apply(Entry& entry);
    // What a redacted record has issued: it isn't replaced once more.
    void TakeOver(const Entry& entry);

private:
    enum class Order { Natural, TurnedQuadlets };
    void ApplyToData(Entry& entry);
    void ApplyToRom(Entry& entry);
    void ApplyToExchange(Entry& entry);
    void ReplaceAt(Bytes& data, std::size_t offset, Order order);
    std::string WithoutGuids(const std::string& text);
    std::uint64_t CounterOf(std::uint64_t guid);

    bool takesOver_ = false, knowsIssued_ = false;
    std::map<std::uint64_t, std::uint64_t> counters_; // by what they replace
    std::set<std::uint64_t> issued_;
    std::map<std::uint32_t, std::uint32_t> upperHalves_; // of GUIDs in ROMs, by node, as last read
};

} // namespace recording

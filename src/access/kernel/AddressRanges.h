// The client's address ranges: what other nodes write into them, and the answers that they get.
#pragma once

#include "Events.h"

#include <map>
#include <optional>

namespace kernel_bus {

struct AddressRange {
    std::uint64_t address = 0;                 // 48-bit
    Bytes content;                             // what was written last
    std::optional<std::uint32_t> kernelHandle; // of its allocation on the current adapter
};

struct Answer {
    std::uint32_t rcode = 0;
    Bytes data; // as long as the request wants it, for an error too: the kernel sends no other answer
    bool stored = false;
};

// By handles of its own, never 0 and never twice; the kernel's can be 0.
class AddressRanges {
public:
    std::uint32_t Add(std::uint64_t address, std::uint32_t length); // length as the kernel wants it: a multiple of 4
    void Remove(std::uint32_t handle) { ranges_.erase(handle); }
    AddressRange* Find(std::uint64_t handle); // null if there is none
    std::map<std::uint32_t, AddressRange>& All() { return ranges_; }

    // The closure of the request is our handle. Stores what is written.
    Answer Take(const RequestEvent& request);

private:
    std::map<std::uint32_t, AddressRange> ranges_;
    std::uint32_t lastHandle_ = 0;
};

// The answer to a request that no range takes.
Answer Refuse(const RequestEvent& request, std::uint32_t rcode);

} // namespace kernel_bus

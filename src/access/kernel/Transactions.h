// Transactions that wait for their answer, and the results of those that have ended.
#pragma once

#include "Events.h"

#include <atomic>
#include <condition_variable>
#include <map>
#include <mutex>

namespace kernel_bus {

// The result, as in Twl1394api.h, of a response code and of a failed system call (-errno).
std::int32_t ResultOfRcode(std::uint32_t rcode);
std::int32_t ResultOfError(int error);

// On the stack of the thread that waits.
struct Waiting {
    std::uint32_t card = 0;
    std::uint32_t generation = 0;
    int descriptor = -1;
    std::span<std::uint8_t> data; // of a read: filled if it succeeds
    std::int32_t result = 0;      // once done
    bool refused = false;         // for its generation, by a bus reset of which the event is still to come
    std::atomic<bool> done = false;
};

// All of it under the owner's lock, which Wait gives up while it waits. The event thread ends transactions. What ends
// after its deadline isn't known any more, and is dropped.
class Transactions {
public:
    // The closure by which the kernel's answer is recognised; never used twice.
    std::uint64_t Begin(Waiting& waiting);
    std::uint64_t NextClosure() { return ++lastClosure_; }
    // At most so many milliseconds; TWL1394_TIMED_OUT if it isn't done by then. It is forgotten in any case. One that
    // is refused for its generation ends when the new one is known, or soon: until then another try is refused as well.
    std::int32_t Wait(std::unique_lock<std::mutex>& lock, std::uint64_t closure, std::uint32_t milliseconds);
    void Forget(std::uint64_t closure) { waiting_.erase(closure); }

    void End(const ResponseEvent& response);
    void EndOlder(std::uint32_t card, std::uint32_t generation); // by a bus reset
    void EndThoseOf(int descriptor);                             // whose device file has gone
    void EndAll(std::int32_t result);

private:
    template <typename Condition> void EndIf(Condition condition, std::int32_t result);

    std::map<std::uint64_t, Waiting*> waiting_; // by closure
    std::uint64_t lastClosure_ = 0;
    std::condition_variable ended_;
};

} // namespace kernel_bus

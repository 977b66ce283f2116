#include "Transactions.h"

#include "Twl1394api.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <thread>

#include <linux/firewire-constants.h>

namespace kernel_bus {

namespace {

constexpr std::chrono::milliseconds LONGEST_RESET{200}; // self-identification takes far less, the kernel's work some ms
constexpr int YIELDS = 500;                             // some 200 us; most transactions take less

// A thread that sleeps is woken some 30 us late, which is as much as a short transaction takes.
void StayAwakeFor(const Waiting& waiting, std::unique_lock<std::mutex>& lock) {
    lock.unlock();
    for (int i = 0; i < YIELDS && !waiting.done; ++i)
        std::this_thread::yield();
    lock.lock();
}

} // namespace

std::int32_t ResultOfRcode(std::uint32_t rcode) {
    switch (rcode) {
    case RCODE_COMPLETE:
        return TWL1394_SUCCESS;
    case RCODE_TYPE_ERROR:
    case RCODE_ADDRESS_ERROR:
        return TWL1394_ADDRESS_ERROR;
    case RCODE_GENERATION:
        return TWL1394_BUS_RESET;
    case RCODE_NO_ACK:
    case RCODE_BUSY:
    case RCODE_CANCELLED: // the bus's own time-out
        return TWL1394_NODE_DID_NOT_RESPOND;
    default:
        return TWL1394_NO_RESPONSE;
    }
}

std::int32_t ResultOfError(int error) {
    return error == -ENODEV ? TWL1394_NODE_DID_NOT_RESPOND : TWL1394_NO_RESPONSE;
}

std::uint64_t Transactions::Begin(Waiting& waiting) {
    const std::uint64_t closure = NextClosure();
    waiting_[closure] = &waiting;
    return closure;
}

std::int32_t Transactions::Wait(std::unique_lock<std::mutex>& lock, std::uint64_t closure, std::uint32_t milliseconds) {
    const Waiting& waiting = *waiting_.at(closure);
    const std::chrono::milliseconds limit(milliseconds);
    StayAwakeFor(waiting, lock);
    const bool ended = ended_.wait_for(lock, limit, [&] { return waiting.done.load() || waiting.refused; });
    if (waiting.refused)
        ended_.wait_for(lock, std::min(limit, LONGEST_RESET), [&] { return waiting.done.load(); });
    Forget(closure);
    return ended ? waiting.result : TWL1394_TIMED_OUT;
}

void Transactions::End(const ResponseEvent& response) {
    const auto found = waiting_.find(response.closure);
    if (found == waiting_.end() || found->second->done)
        return;
    Waiting& waiting = *found->second;
    waiting.result = ResultOfRcode(response.rcode);
    if (waiting.result == TWL1394_SUCCESS) {
        if (response.data.size() < waiting.data.size())
            waiting.result = TWL1394_NO_RESPONSE;
        else
            std::copy_n(response.data.begin(), waiting.data.size(), waiting.data.begin());
    }
    waiting.refused = waiting.result == TWL1394_BUS_RESET;
    waiting.done = !waiting.refused;
    ended_.notify_all();
}

template <typename Condition> void Transactions::EndIf(Condition condition, std::int32_t result) {
    for (const auto& [closure, waiting] : waiting_)
        if (!waiting->done && condition(*waiting)) {
            waiting->result = result;
            waiting->done = true;
        }
    ended_.notify_all();
}

void Transactions::EndOlder(std::uint32_t card, std::uint32_t generation) {
    EndIf([=](const Waiting& waiting) { return waiting.card == card && waiting.generation != generation; },
          TWL1394_BUS_RESET);
}

void Transactions::EndThoseOf(int descriptor) {
    EndIf([=](const Waiting& waiting) { return waiting.descriptor == descriptor; }, TWL1394_NODE_DID_NOT_RESPOND);
}

void Transactions::EndAll(std::int32_t result) {
    EndIf([](const Waiting&) { return true; }, result);
}

} // namespace kernel_bus

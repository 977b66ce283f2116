#include "EndRequest.h"

#include "Clock.h"
#include "Terminal.h"
#include "WakeUp.h"

#include <atomic>
#include <csignal>
#include <cstdint>
#include <ctime>

namespace platform {

namespace {

// One request often arrives as two signals: `timeout` signals the process and then its group, and a terminal that goes
// away and its shell each send a SIGHUP. Only one that comes later is a second request.
constexpr std::int64_t SAME_REQUEST = 500; // ms

struct Globals {
    std::atomic<std::int64_t> requestedAt = 0; // ms of the monotonic clock; 0: not yet
    std::atomic<std::int64_t> limit = 0;       // of the performance counter; 0: none
} globals;
static_assert(std::atomic<std::int64_t>::is_always_lock_free, "it is written by a signal handler");

// Made before the first handler that uses it, and never destroyed: a signal may arrive while the process exits.
const WakeUp& Notice() {
    static const WakeUp& notice = *new WakeUp;
    return notice;
}

// Not of the current clock: a test's doesn't advance, and a signal handler may call only a few functions.
std::int64_t Milliseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t(now.tv_sec) * 1000 + now.tv_nsec / 1'000'000;
}

// The time of the request that has been made already, 0 for the first.
std::int64_t Request() {
    std::int64_t first = 0;
    globals.requestedAt.compare_exchange_strong(first, Milliseconds());
    Notice().Set();
    return first;
}

void TakeSignal(int number) {
    const std::int64_t first = Request();
    if (first == 0 || Milliseconds() - first < SAME_REQUEST)
        return;
    RestoreTerminal();
    std::signal(number, SIG_DFL);
    std::raise(number); // takes effect when the handler returns
}

} // namespace

void CatchEndSignals() {
    Notice();
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        struct sigaction before {};
        if (sigaction(number, nullptr, &before) != 0 || before.sa_handler == SIG_IGN)
            continue;
        struct sigaction action {};
        action.sa_handler = TakeSignal;
        action.sa_flags = SA_RESTART; // no reading or writing elsewhere is cut short
        sigemptyset(&action.sa_mask);
        sigaction(number, &action, nullptr);
    }
}

bool EndRequested() {
    return WhyEndRequested() != EndReason::None;
}

void RequestEndAt(std::int64_t counter) {
    globals.limit = counter;
}

EndReason WhyEndRequested() {
    if (globals.requestedAt != 0)
        return EndReason::Signal;
    const std::int64_t limit = globals.limit;
    return limit != 0 && QueryPerformanceCounter() >= limit ? EndReason::TimeLimit : EndReason::None;
}

int EndRequestDescriptor() {
    return Notice().Descriptor();
}

void RequestEnd() {
    Request();
}

void ForgetEndRequest() {
    globals.requestedAt = 0;
    globals.limit = 0;
    Notice().Clear();
}

} // namespace platform

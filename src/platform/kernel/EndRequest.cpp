#include "EndRequest.h"

#include <atomic>
#include <csignal>
#include <cstdint>
#include <ctime>

namespace platform {

namespace {

// One wish often arrives as two signals: `timeout` signals the process and then its group, and both the
// shell and the terminal that goes away send a SIGHUP. Only one that comes later is a second wish.
constexpr std::int64_t SAME_WISH = 500; // ms

std::atomic<std::int64_t> requestedAt = 0; // ms of the monotonic clock; 0: not yet
static_assert(std::atomic<std::int64_t>::is_always_lock_free, "it is written by a signal handler");

// The clock of the tests stands still for a signal, and a handler may call little else.
std::int64_t Milliseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t(now.tv_sec) * 1000 + now.tv_nsec / 1'000'000;
}

void TakeSignal(int number) {
    std::int64_t first = 0;
    if (requestedAt.compare_exchange_strong(first, Milliseconds()) || Milliseconds() - first < SAME_WISH)
        return;
    std::signal(number, SIG_DFL);
    std::raise(number); // takes effect when the handler returns
}

} // namespace

void CatchEndSignals() {
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
    return requestedAt != 0;
}

void RequestEnd() {
    std::int64_t first = 0;
    requestedAt.compare_exchange_strong(first, Milliseconds());
}

void ForgetEndRequest() {
    requestedAt = 0;
}

} // namespace platform

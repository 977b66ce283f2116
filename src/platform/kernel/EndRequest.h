// The request that the program end: of the system (SIGTERM, SIGINT, SIGHUP), or of a time limit.
#pragma once

#include <cstdint>

namespace platform {

// From here on the first of these signals only asks: long work looks at EndRequested() where it can stop in order, and
// a watch of EndRequestDescriptor() wakes the window system. A later signal ends the process at once. A signal that was
// ignored from the start (nohup) stays ignored. Can be repeated.
void CatchEndSignals();

bool EndRequested();        // any thread
int EndRequestDescriptor(); // readable once the end has been requested
void RequestEnd();          // as the first signal does

// From this time of the performance counter on the end counts as requested. The descriptor doesn't show it: whoever
// waits bounds the wait.
void RequestEndAt(std::int64_t counter);
enum class EndReason { None, Signal, TimeLimit }; // Signal if both have asked, whichever came first
EndReason WhyEndRequested();

void ForgetEndRequest(); // of either kind

} // namespace platform

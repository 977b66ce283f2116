// The system's request that the program end: SIGTERM, SIGINT, SIGHUP.
#pragma once

namespace platform {

// From here on the first of these signals only asks: long work looks at EndRequested() where it can stop in order, and
// a watch of EndRequestDescriptor() wakes the window system. A later signal ends the process at once. A signal that was
// ignored from the start (nohup) stays ignored. Can be repeated.
void CatchEndSignals();

bool EndRequested();        // any thread
int EndRequestDescriptor(); // readable once the end has been requested
void RequestEnd();          // as the first signal does
void ForgetEndRequest();

} // namespace platform

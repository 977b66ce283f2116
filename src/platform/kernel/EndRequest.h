// The system's wish that the program end: SIGTERM, SIGINT, SIGHUP.
#pragma once

namespace platform {

// From here on the first of these signals only asks: long work looks at EndRequested() where it can
// stop in order, and whoever ends the program looks at it between two turns. A later one ends the
// process at once. A signal that was ignored from the start (nohup) stays ignored. Can be repeated.
void CatchEndSignals();

bool EndRequested(); // any thread
void RequestEnd();   // as the first signal does
void ForgetEndRequest();

} // namespace platform

// The verdict of a call: the same word in text, JSON and JUnit, and the exit code that scripts branch on.
#pragma once

#include "Verdict.h"

namespace cli {

// The values are the exit codes.
enum class Verdict {
    Done = 0,
    Failed = 1,    // unexpectedly, or some of the steps
    Usage = 2,     // the command line isn't understood; nothing was touched
    NoBus = 3,     // no adapter, no permission, no access library
    NoDevice = 4,  // none, or not the named one
    Ambiguous = 5, // several, and none was named
    Refused = 6,   // bad input, or input that doesn't fit the device; nothing was written
    Unchanged = 7, // it failed before the device was changed
    Damaged = 8,   // it failed after an erase began, or may have begun
    Differs = 9,   // the device holds something else
    TimedOut = 10, // the time limit ended it
    Interrupted = 130
};

const char* WordOf(Verdict verdict); // "no-bus"
// Pending counts as failed; an unconfirmed step is done; what a time limit interrupted has timed out.
Verdict VerdictOf(basApp::OutcomeKind outcome);
const char* WordOf(basApp::FlashState state); // "identical"

} // namespace cli

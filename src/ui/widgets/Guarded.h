// A window's failures: one line in the log, and the window goes on.
#pragma once

#include "Failure.h"
#include "basDebug.h"

// Runs `body`; a failure ends it and is logged at ERROR under the procedure's name.
template <class Body> void Guarded(const char* module, const char* procedure, Body body) {
    platform::Attempt(body, [=](const platform::Failure& f) {
        basDebug::Display(module, LEVEL_ERROR, "Error #{}: {} in {}", f.Number, f.Description, procedure);
    });
}

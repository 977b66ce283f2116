// How a window reports a failure: one line in the log, and the window goes on.
#pragma once

#include "Failure.h"
#include "basDebug.h"

#include <string>
#include <utility>

// Logs a failure at ERROR under the names of the window and of its procedure.
inline auto LogFailure(std::string window, std::string procedure) {
    return [window = std::move(window), procedure = std::move(procedure)](const platform::Failure& f) {
        basDebug::Display(window, LEVEL_ERROR, "Error #{}: {} in {}", f.Number, f.Description, procedure);
    };
}

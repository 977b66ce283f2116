// How the procedures of a run go on past a run-time failure.
#pragma once

#include "Failure.h"
#include "basAutomation.h"

#include <cstdint>

namespace basAutomation {

// For the ResumeNext of one procedure.
inline auto Reporter(const char* procedure) {
    return [procedure](const platform::Failure& failure) {
        StatusDisplay(LEVEL_ERROR, "Error #{}: {} in {}", failure.Number, failure.Description, procedure);
    };
}

// The call's result code. -1 when it broke off: such a step is never taken for one that worked.
template <class Next, class Call> std::int32_t Code(Next& next, Call&& call) {
    std::int32_t code = -1;
    next([&] { code = call(); });
    return code;
}

} // namespace basAutomation

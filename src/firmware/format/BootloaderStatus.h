// The message wrapper and the failure reporter of module basBootloader, here for its lowest file, the package reader.
#pragma once

#include "Failure.h"
#include "basApp.h"

#include <utility>

namespace basBootloader {

inline bool StatusWanted(std::int32_t level) {
    return !basApp::QuietDuringDownload(level) && basDebug::Wanted(level);
}

template <class... Arguments>
void StatusDisplay(std::int32_t level, fmt::format_string<Arguments...> text, Arguments&&... arguments) {
    if (!basApp::QuietDuringDownload(level))
        basDebug::Display("basBootloader", level, text, std::forward<Arguments>(arguments)...);
}

// For Attempt, ResumeNext and ResultOf.
inline auto LogFailure(const char* procedure, const char* ending = ".  Exiting...") {
    return [procedure, ending](const platform::Failure& failure) {
        StatusDisplay(LEVEL_WARNING, "ERROR #{}: {} in basBootloader.{}{}", failure.Number, failure.Description,
                      procedure, ending);
    };
}

} // namespace basBootloader

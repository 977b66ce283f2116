// The message wrapper of module basBootloader, for its lowest file, the package reader, as well.
#pragma once

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

} // namespace basBootloader

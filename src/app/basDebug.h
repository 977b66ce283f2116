// The message log: where every module's StatusDisplay ends. A message goes to status window 0, to
// the stored log, to standard output in an unattended run, each by its own filter; one that no
// filter lets through isn't formatted.
#pragma once

#include "Levels.h"

#include <fmt/format.h>

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace basDebug {

struct Globals {
    // Performance counter at the first message of a common path, 0 before it.
    std::int64_t StartCount = 0;
    std::int64_t MainWindowStartCount = 0; // the same of the main window's path
};
extern Globals globals;

struct Hooks {
    // The store's log, set when the store is created; empty without a store.
    std::function<void(std::string_view message, std::int32_t level, std::string_view module, std::int32_t runTime)>
        appendToLog;
};
extern Hooks hooks;

// True when a message of this level would reach anyone through basDebug's common path.
bool Wanted(std::int32_t level);

// The common path, for a finished message. An empty module is "unspecified".
void StatusDisplay(std::string_view message, std::int32_t level, std::string_view module);

// Formats only what is wanted.
template <class... Arguments>
void Display(std::string_view module, std::int32_t level, fmt::format_string<Arguments...> text,
             Arguments&&... arguments) {
    if (!Wanted(level))
        return;
    StatusDisplay(fmt::format(text, std::forward<Arguments>(arguments)...), level, module);
}

// The second common path, of the main window's own code: a clock of its own, every status window,
// and a missing module takes the level's text ("TRACE"), "unspecified" without a level.
void StatusDisplayOfMainWindow(std::string_view message, std::string_view level, std::string_view module = {});

// h:mm:ss.mmm of whole milliseconds, as in 0:04:07.123.
std::string FormatRunTime(std::int64_t milliseconds);

} // namespace basDebug

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
    std::int64_t StartCount = 0; // performance counter at this module's first message, 0 before it
};
extern Globals globals;

// Filled by wiring.
struct Hooks {
    // Status window `slot` exists and shows messages of this level.
    std::function<bool(std::size_t slot, std::int32_t level)> statusWindowWants;
    // frmStatus::PostMessage of that window. Milliseconds since the sender's first message.
    std::function<void(std::size_t slot, std::string_view message, float elapsedTime, std::int32_t level,
                       std::string_view module)>
        postToStatusWindow;
    std::function<std::size_t()> statusWindowCount; // slots, empty ones included
    // The store's log; empty while there is no DbManager.
    std::function<void(std::string_view message, std::int32_t level, std::string_view module, std::int32_t runTime)>
        appendToLog;
    // One line of an unattended run's standard output; asked for WATCH and above.
    std::function<void(std::string_view message, std::int32_t level, std::string_view module)> echo;
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

// The second common path, for the code of frmMain alone: a clock of its own, every status window,
// and a missing module takes the level's text ("TRACE"), "unspecified" without a level.
void StatusDisplayOfMainWindow(std::int64_t& startCount, std::string_view message, std::string_view level,
                               std::string_view module);

// h:mm:ss.mmm of whole milliseconds, as in 0:04:07.123.
std::string FormatRunTime(std::int64_t milliseconds);

} // namespace basDebug

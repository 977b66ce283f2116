// Starting other programs, without a shell in between.
#pragma once

#include "Handles.h"

#include <cstdint>
#include <string>
#include <vector>

namespace platform {

// What a command text of the platform of old means here: the program and its arguments.
//   "cmd /c mkdir X"               make the folder X and those above it (done in-process)
//   "cmd /c start notepad.exe X"   open X with the desktop's viewer (xdg-open)
//   "cmd /c start X"               the same
// Anything else is split at blanks, with double quotes protecting them.
std::vector<std::string> CommandArguments(const std::string& command);

// Starts it; the process id, or a failure 53. For mkdir an id whose exit code is at hand.
std::int32_t Shell(const std::string& command);
// The same for a program (looked for on the PATH) with arguments that are passed on as they are.
std::int32_t Start(const std::vector<std::string>& programAndArguments);
bool IsOnPath(const std::string& program);
// A handle that WaitForSingleObject and GetExitCodeProcess take; 0 when the id isn't one of Shell.
Handle OpenProcess(std::uint32_t desiredAccess, bool inheritHandle, std::int32_t processId);
// STILL_ACTIVE while it runs. False for a handle that isn't a process.
bool GetExitCodeProcess(Handle process, std::uint32_t& exitCode);

} // namespace platform

// Starting other programs, without a shell.
#pragma once

#include "Handles.h"

#include <cstdint>
#include <string>
#include <vector>

namespace platform {

// A command text as program and arguments. Those of another system's shell are translated:
//   "cmd /c mkdir X"               make the folder X and those above it (done in-process)
//   "cmd /c start notepad.exe X"   open X with the desktop's viewer (xdg-open)
//   "cmd /c start X"               the same
// Anything else is split at blanks, with double quotes protecting them.
std::vector<std::string> CommandArguments(const std::string& command);

// Starts the program and returns its process id; failure 53 if that fails. A mkdir has finished by then.
std::int32_t Shell(const std::string& command);
// The same for a program, searched for on the PATH, whose arguments are passed on unchanged.
std::int32_t Start(const std::vector<std::string>& programAndArguments);
// Puts this program with these arguments in the place of the running one. Returns only if that fails.
void RunAgain(const std::vector<std::string>& arguments);
bool IsOnPath(const std::string& program);
// A handle for WaitForSingleObject and GetExitCodeProcess; 0 if the id isn't from Shell or Start.
[[nodiscard]] Handle OpenProcess(std::uint32_t desiredAccess, bool inheritHandle, std::int32_t processId);
// STILL_ACTIVE while it runs. False if the handle isn't that of a process.
[[nodiscard]] bool GetExitCodeProcess(Handle process, std::uint32_t& exitCode);

} // namespace platform

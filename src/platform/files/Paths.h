// Paths as the program writes them: case-insensitive, with "\" or "/" between components.
#pragma once

#include <string>
#include <vector>

namespace platform {

// The path in this file system that `path` means: in its exact spelling if that exists, else the one that matches
// regardless of case. What doesn't exist keeps its spelling, so that the result also serves to create it. Relative
// paths start at the current directory; a leading drive letter ("C:") means the root. Failure 52, which names them, if
// several match.
std::string ResolvePath(const std::string& path);
// The candidates of ResolvePath: one path, or several that differ only in case.
std::vector<std::string> PathsMeant(const std::string& path);
std::string Quoted(const std::vector<std::string>& paths); // for a message: "a", "b"

// The folder of the program's data: the executable's or, if that lies below /usr or can't be written, the per-user data
// folder (HoistlineApp in XDG_DATA_HOME or ~/.local/share), created on first use and filled from the executable's
// folder. No trailing separator.
std::string ProgramDirectory();
std::string ProgramDirectoryOf(const std::string& executables); // for executables in that folder; creates nothing
// Makes `to` a program directory: updates the access library from `from`, and copies every other file that `to` lacks
// (the clean database, the bus description, the example of a key batch). Documents are read where the program lies.
void SeedProgramDirectory(const std::string& from, const std::string& to);
std::string ExecutableDirectory();
std::string ExecutablePath();
// For tests: fixes ProgramDirectory to `directory`; empty undoes it.
void UseProgramDirectory(const std::string& directory);

// This program's folder in the one that the environment variable names, or in `fallback` of the home folder.
std::string UserFolder(const char* variable, const std::string& fallback);

std::string CurrentDirectory();
// Failure 76 if there is no such folder.
void ChangeDirectory(const std::string& directory);
std::string JoinPath(const std::string& directory, const std::string& name);

} // namespace platform

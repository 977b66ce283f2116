// Paths as the program writes them: case-blind, "\" or "/" between components.
#pragma once

#include <string>
#include <vector>

namespace platform {

// The path in this file system that `path` means: both separators; as it is spelled where that
// exists, else the one match without regard to case; what doesn't exist keeps its spelling, so that
// the result also serves for creating. Relative paths start from the current directory; a drive
// letter ("C:") in front means the root. Failure 52, which names them, when several match.
std::string ResolvePath(const std::string& path);
// What ResolvePath chooses from: one path, or several that differ in case alone.
std::vector<std::string> PathsMeant(const std::string& path);
std::string Quoted(const std::vector<std::string>& paths); // for a message: "a", "b"

// Folder of the executable, or, when that can't be written, the per-user data folder
// (XDG_DATA_HOME or ~/.local/share, then HoistlineApp), made and seeded from the executable's
// folder on first use: the clean database, example files, the bus description. No trailing
// separator.
std::string ProgramDirectory();
// What makes a per-user folder a program directory: the library of `from` where `to` has another,
// and every other file that `to` lacks.
void SeedProgramDirectory(const std::string& from, const std::string& to);
std::string ExecutableDirectory();
std::string ExecutablePath();
// For tests: fixes ProgramDirectory to `directory`; empty undoes it.
void UseProgramDirectory(const std::string& directory);

// The user's folder for this program under the folder that `variable` names, or under `fallback`
// of the home folder when it names none.
std::string UserFolder(const char* variable, const std::string& fallback);

std::string CurrentDirectory();
// Failure 76 when there is no such folder.
void ChangeDirectory(const std::string& directory);
std::string JoinPath(const std::string& directory, const std::string& name);

} // namespace platform

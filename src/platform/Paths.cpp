#include "Paths.h"

#include "CodePage.h"
#include "Failure.h"
#include "Files.h"

#include <cstdlib>
#include <filesystem>
#include <pwd.h>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace platform {

namespace {

constexpr const char* FOLDER_NAME = "HoistlineApp";
constexpr const char* LIBRARY = "Twl1394api.so";

struct Globals {
    std::string fixed;   // of UseProgramDirectory
    std::string program; // found, "" before the first question
} globals;

std::vector<std::string> Components(const std::string& path) {
    std::vector<std::string> components;
    std::string component;
    for (const char character : path + "/")
        if (character != '/' && character != '\\') {
            component += character;
        } else if (!component.empty()) {
            components.push_back(std::move(component));
            component.clear();
        }
    return components;
}

// The entry of `folder` that `name` means: by its exact name, else without regard to case (the
// first in byte order), else `name` itself.
std::string EntryOf(const std::string& folder, const std::string& name) {
    std::error_code error;
    const fs::path exact = fs::path(folder.empty() ? "." : folder) / name;
    if (fs::symlink_status(exact, error).type() != fs::file_type::not_found)
        return name;
    const std::string wanted = LowerCase(name);
    std::string found;
    for (fs::directory_iterator entry(folder.empty() ? "." : folder, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string candidate = entry->path().filename().string();
        if (LowerCase(candidate) == wanted && (found.empty() || candidate < found))
            found = candidate;
    }
    return found.empty() ? name : found;
}

bool StartsWithDrive(const std::string& path) {
    return path.size() >= 2 && path[1] == ':' &&
           ((path[0] >= 'a' && path[0] <= 'z') || (path[0] >= 'A' && path[0] <= 'Z'));
}

// By the account where the environment doesn't tell: never a folder that others may write.
std::string HomeFolder() {
    const char* home = std::getenv("HOME");
    if (home != nullptr && home[0] == '/')
        return home;
    const passwd* account = getpwuid(getuid());
    return account != nullptr ? account->pw_dir : "/";
}

// For root too, whom only a read-only file system refuses.
bool CanBeWritten(const std::string& directory) {
    return access(directory.c_str(), W_OK) == 0;
}

// The library has to fit the executable; the other files are the user's once they are there.
// Through a new file and a rename, since another process may have the old one loaded.
void RefreshLibrary(const std::string& from, const std::string& to) {
    const bool same = FindFirstFileA(to) && ReadWholeFile(from) == ReadWholeFile(to);
    if (!same)
        CopyFile(from, to);
}

void CopyWhatIsMissing(const fs::path& from, const fs::path& to) {
    if (fs::is_directory(from)) {
        fs::create_directories(to);
        for (const fs::directory_entry& entry : fs::directory_iterator(from))
            CopyWhatIsMissing(entry.path(), to / entry.path().filename());
    } else if (fs::exists(from) && !fs::exists(to)) {
        CopyFile(from.string(), to.string());
    }
}

} // namespace

std::string ResolvePath(const std::string& path) {
    std::string rest = StartsWithDrive(path) ? path.substr(2) : path;
    const bool absolute = !rest.empty() && (rest[0] == '/' || rest[0] == '\\');
    std::string resolved = absolute ? "/" : "";
    for (const std::string& component : Components(rest)) {
        const std::string entry = EntryOf(resolved, component);
        if (!resolved.empty() && resolved.back() != '/')
            resolved += '/';
        resolved += entry;
    }
    return resolved;
}

// What can't be copied is missed, and told, by who needs it.
void SeedProgramDirectory(const std::string& from, const std::string& to) {
    ResumeNext next{IgnoreFailure};
    next([&] { fs::create_directories(to); });
    next([&] { RefreshLibrary(from + "/" + LIBRARY, to + "/" + LIBRARY); });
    for (const char* name : {"db1_clean.mdb", "simulated-bus.json", "batch-operations", "docs"})
        next([&] { CopyWhatIsMissing(from + "/" + name, to + "/" + name); });
}

std::string ExecutablePath() {
    std::error_code error;
    return fs::read_symlink("/proc/self/exe", error).string();
}

std::string ExecutableDirectory() {
    return fs::path(ExecutablePath()).parent_path().string();
}

std::string ProgramDirectory() {
    if (!globals.fixed.empty())
        return globals.fixed;
    if (globals.program.empty()) {
        const std::string own = ExecutableDirectory();
        globals.program = CanBeWritten(own) ? own : UserFolder("XDG_DATA_HOME", ".local/share");
        if (globals.program != own)
            SeedProgramDirectory(own, globals.program);
    }
    return globals.program;
}

void UseProgramDirectory(const std::string& directory) {
    globals.fixed = directory;
    globals.program.clear();
}

std::string UserFolder(const char* variable, const std::string& fallback) {
    const char* named = std::getenv(variable);
    const bool usable = named != nullptr && named[0] == '/';
    return JoinPath(usable ? named : JoinPath(HomeFolder(), fallback), FOLDER_NAME);
}

std::string CurrentDirectory() {
    std::error_code error;
    return fs::current_path(error).string();
}

void ChangeDirectory(const std::string& directory) {
    if (chdir(ResolvePath(directory).c_str()) != 0)
        Raise(PATH_NOT_FOUND, "Path not found: " + directory);
}

std::string JoinPath(const std::string& directory, const std::string& name) {
    if (directory.empty() || directory.back() == '/' || directory.back() == '\\')
        return directory + name;
    return directory + "/" + name;
}

} // namespace platform

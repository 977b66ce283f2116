#include "Paths.h"

#include "CodePage.h"
#include "Failure.h"
#include "Files.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
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
    std::string program; // as found, "" before the first use
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

std::string Below(const std::string& folder, const std::string& name) {
    return folder.empty() || folder.back() == '/' ? folder + name : folder + '/' + name;
}

// Also true if it can't be examined: opening it reports why.
bool IsThere(const std::string& path) {
    std::error_code error;
    return fs::symlink_status(path, error).type() != fs::file_type::not_found;
}

// Finds all paths that a list of components may mean.
class Search {
public:
    explicit Search(const std::vector<std::string>& components) : components_(components) {}

    // Those of the components from `index` up to `count`, below `folder`. The exact spelling of a component hides its
    // other spellings if the rest of the path is found below it.
    std::vector<std::string> Below(const std::string& folder, std::size_t index, std::size_t count) {
        if (index == count)
            return {folder};
        const std::string exact = platform::Below(folder, components_[index]);
        std::vector<std::string> matches;
        if (IsThere(exact))
            matches = Below(exact, index + 1, count);
        if (!matches.empty())
            return matches;
        for (const std::string& name : OtherSpellings(folder, components_[index])) {
            const std::vector<std::string> more = Below(platform::Below(folder, name), index + 1, count);
            matches.insert(matches.end(), more.begin(), more.end());
        }
        return matches;
    }

private:
    std::vector<std::string> OtherSpellings(const std::string& folder, const std::string& name) {
        std::vector<std::string> names;
        if (++foldersRead_ > MOST_FOLDERS_READ)
            return names; // circular links could make this endless
        const std::string wanted = LowerCase(name);
        std::error_code error;
        for (fs::directory_iterator entry(folder.empty() ? "." : folder, error), end; !error && entry != end;
             entry.increment(error)) {
            const std::string candidate = entry->path().filename().string();
            if (candidate != name && LowerCase(candidate) == wanted)
                names.push_back(candidate);
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    static constexpr int MOST_FOLDERS_READ = 1000;
    const std::vector<std::string>& components_;
    int foldersRead_ = 0;
};

bool StartsWithDrive(const std::string& path) {
    return path.size() >= 2 && path[1] == ':' &&
           ((path[0] >= 'a' && path[0] <= 'z') || (path[0] >= 'A' && path[0] <= 'Z'));
}

// From the user database if HOME isn't set: never a folder that others can write.
std::string HomeFolder() {
    const char* home = std::getenv("HOME");
    if (home != nullptr && home[0] == '/')
        return home;
    const passwd* account = getpwuid(getuid());
    return account != nullptr ? account->pw_dir : "/";
}

// For root as well, to whom only a read-only file system denies it.
bool CanBeWritten(const std::string& directory) {
    return access(directory.c_str(), W_OK) == 0;
}

// There the files belong to the package manager: root's data would be in everybody's way and survive a removal.
bool IsOfTheSystem(const std::string& directory) {
    return directory == "/usr" || directory.starts_with("/usr/");
}

// The library must match the executable; the other files belong to the user once they exist. It is replaced as a whole,
// since another process may have the old one loaded.
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

std::vector<std::string> PathsMeant(const std::string& path) {
    const std::string rest = StartsWithDrive(path) ? path.substr(2) : path;
    const bool absolute = !rest.empty() && (rest[0] == '/' || rest[0] == '\\');
    const std::string start = absolute ? "/" : "";
    const std::vector<std::string> components = Components(rest);
    std::string exact = start;
    for (const std::string& component : components)
        exact = Below(exact, component);
    if (IsThere(exact))
        return {exact};
    // As much of it as exists; the rest keeps its spelling.
    std::vector<std::string> meant{start};
    std::size_t found = 0;
    for (; found < components.size(); ++found) {
        std::vector<std::string> longer = Search(components).Below(start, 0, found + 1);
        if (longer.empty())
            break;
        meant = std::move(longer);
    }
    for (std::string& candidate : meant)
        for (std::size_t i = found; i < components.size(); ++i)
            candidate = Below(candidate, components[i]);
    return meant;
}

std::string ResolvePath(const std::string& path) {
    const std::vector<std::string> meant = PathsMeant(path);
    if (meant.size() > 1)
        Raise(BAD_FILE_NAME, fmt::format("Bad file name: \"{}\" could be any of {}", path, Quoted(meant)));
    return meant.front();
}

std::string Quoted(const std::vector<std::string>& paths) {
    return fmt::format("\"{}\"", fmt::join(paths, "\", \""));
}

// A file that couldn't be copied is reported as missing when it is needed.
void SeedProgramDirectory(const std::string& from, const std::string& to) {
    ResumeNext next{IgnoreFailure};
    next([&] { fs::create_directories(to); });
    next([&] { RefreshLibrary(from + "/" + LIBRARY, to + "/" + LIBRARY); });
    for (const char* name : {"db1_clean.mdb", "simulated-bus.json", "batch-operations"})
        next([&] { CopyWhatIsMissing(from + "/" + name, to + "/" + name); });
}

std::string ExecutablePath() {
    std::error_code error;
    return fs::read_symlink("/proc/self/exe", error).string();
}

std::string ExecutableDirectory() {
    return fs::path(ExecutablePath()).parent_path().string();
}

std::string ProgramDirectoryOf(const std::string& executables) {
    const bool own = !IsOfTheSystem(executables) && CanBeWritten(executables);
    return own ? executables : UserFolder("XDG_DATA_HOME", ".local/share");
}

std::string ProgramDirectory() {
    if (!globals.fixed.empty())
        return globals.fixed;
    if (globals.program.empty()) {
        const std::string own = ExecutableDirectory();
        globals.program = ProgramDirectoryOf(own);
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

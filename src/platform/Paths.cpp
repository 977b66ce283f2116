#include "Paths.h"

#include "CodePage.h"
#include "Failure.h"
#include "Files.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace platform {

namespace {

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

bool CanBeWritten(const std::string& directory) { return access(directory.c_str(), W_OK) == 0; }

std::string UserDataDirectory() {
    const char* data = std::getenv("XDG_DATA_HOME");
    if (data != nullptr && data[0] == '/')
        return std::string(data) + "/HoistlineApp";
    const char* home = std::getenv("HOME");
    return std::string(home != nullptr ? home : "/tmp") + "/.local/share/HoistlineApp";
}

// What a program directory is made of; what is there already stays, but for the library, which
// has to fit the executable.
void Seed(const std::string& from, const std::string& to) {
    std::error_code error;
    fs::create_directories(to, error);
    fs::copy_file(from + "/Twl1394api.so", to + "/Twl1394api.so", fs::copy_options::update_existing, error);
    for (const char* name : {"db1_clean.mdb", "simulated-bus.json", "batch-operations", "docs"}) {
        error.clear();
        if (fs::exists(from + "/" + name, error))
            fs::copy(from + "/" + name, to + "/" + name,
                     fs::copy_options::recursive | fs::copy_options::skip_existing, error);
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

std::string ExecutablePath() {
    std::error_code error;
    return fs::read_symlink("/proc/self/exe", error).string();
}

std::string ExecutableDirectory() { return fs::path(ExecutablePath()).parent_path().string(); }

std::string ProgramDirectory() {
    if (!globals.fixed.empty())
        return globals.fixed;
    if (globals.program.empty()) {
        const std::string own = ExecutableDirectory();
        globals.program = CanBeWritten(own) ? own : UserDataDirectory();
        if (globals.program != own)
            Seed(own, globals.program);
    }
    return globals.program;
}

void UseProgramDirectory(const std::string& directory) {
    globals.fixed = directory;
    globals.program.clear();
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

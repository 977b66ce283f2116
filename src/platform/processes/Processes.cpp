#include "Processes.h"

#include "CodePage.h"
#include "Failure.h"
#include "Files.h"
#include "HandleTable.h"
#include "Paths.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <iterator>
#include <map>
#include <spawn.h>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace platform {

namespace {

constexpr const char* MAKE_FOLDER = "cmd /c mkdir ";
constexpr const char* OPEN_IN_EDITOR = "cmd /c start notepad.exe ";
constexpr const char* OPEN = "cmd /c start ";
constexpr const char* DESKTOP_OPENER = "xdg-open";

// A started process, or (id 0) a command that has finished already.
class Process : public KernelObject {
public:
    explicit Process(pid_t id, std::uint32_t exitCode = STILL_ACTIVE) : id_(id), exitCode_(exitCode) {}
    bool TryWait() override { return ExitCode() != STILL_ACTIVE; }
    std::uint32_t ExitCode() {
        int status = 0;
        if (exitCode_ == STILL_ACTIVE && id_ > 0 && waitpid(id_, &status, WNOHANG) == id_)
            exitCode_ = std::uint32_t(WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
        return exitCode_;
    }

private:
    pid_t id_;
    std::uint32_t exitCode_;
};

struct Globals {
    std::map<std::int32_t, std::shared_ptr<Process>> started; // by process id
    std::int32_t lastInProcess = 0;                           // counts down: no process has a negative id
} globals;

bool StartsWith(const std::string& text, const char* start) {
    return LowerCase(text.substr(0, std::strlen(start))) == start;
}

std::string Unquoted(const std::string& text) {
    const std::string trimmed = Trim(text);
    const bool quoted = trimmed.size() >= 2 && trimmed.front() == '"' && trimmed.back() == '"';
    return quoted ? trimmed.substr(1, trimmed.size() - 2) : trimmed;
}

std::vector<std::string> SplitAtBlanks(const std::string& command) {
    std::vector<std::string> arguments;
    std::string argument;
    bool quoted = false, begun = false;
    for (const char character : command) {
        if (character == '"') {
            quoted = !quoted;
            begun = true;
        } else if (character == ' ' && !quoted) {
            if (begun)
                arguments.push_back(std::move(argument));
            argument.clear();
            begun = false;
        } else {
            argument += character;
            begun = true;
        }
    }
    if (begun)
        arguments.push_back(std::move(argument));
    return arguments;
}

// Ended processes without a handle don't remain as zombies.
void Reap() {
    std::erase_if(globals.started,
                  [](const auto& entry) { return entry.second.use_count() == 1 && entry.second->TryWait(); });
}

pid_t Spawn(const std::vector<std::string>& arguments) {
    Reap();
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments)
        pointers.push_back(const_cast<char*>(argument.c_str()));
    pointers.push_back(nullptr);
    pid_t id = 0;
    const int error = posix_spawnp(&id, pointers[0], nullptr, nullptr, pointers.data(), environ);
    if (error != 0)
        Raise(FILE_NOT_FOUND, "File not found: " + arguments[0] + " (" + std::strerror(error) + ")");
    return id;
}

std::int32_t RunMakeFolder(const std::string& folder) {
    const bool made = Attempt([&] { MakeDirectories(folder); }, IgnoreFailure);
    globals.started[--globals.lastInProcess] = std::make_shared<Process>(0, made ? 0 : 1);
    return globals.lastInProcess;
}

// Nobody waits for a viewer: the command has finished once the viewer has started, and a thread reaps the process.
std::int32_t RunOpener(const std::vector<std::string>& arguments) {
    const pid_t id = Spawn(arguments);
    std::thread([id] { waitpid(id, nullptr, 0); }).detach();
    globals.started[id] = std::make_shared<Process>(0, 0);
    return id;
}

} // namespace

std::vector<std::string> CommandArguments(const std::string& command) {
    if (StartsWith(command, MAKE_FOLDER))
        return {"mkdir", Unquoted(command.substr(std::strlen(MAKE_FOLDER)))};
    for (const char* start : {OPEN_IN_EDITOR, OPEN})
        if (StartsWith(command, start))
            return {DESKTOP_OPENER, ResolvePath(Unquoted(command.substr(std::strlen(start))))};
    return SplitAtBlanks(command);
}

std::int32_t Shell(const std::string& command) {
    const std::vector<std::string> arguments = CommandArguments(command);
    if (arguments.empty())
        Raise(INVALID_CALL, DescriptionOf(INVALID_CALL));
    if (StartsWith(command, MAKE_FOLDER))
        return RunMakeFolder(arguments[1]);
    if (StartsWith(command, OPEN))
        return RunOpener(arguments);
    return Start(arguments);
}

std::int32_t Start(const std::vector<std::string>& programAndArguments) {
    const pid_t id = Spawn(programAndArguments);
    globals.started[id] = std::make_shared<Process>(id);
    return id;
}

void RunAgain(const std::vector<std::string>& arguments) {
    std::string program = ExecutablePath();
    std::vector<std::string> texts = arguments;
    std::vector<char*> pointers{program.data()};
    std::ranges::transform(texts, std::back_inserter(pointers), [](std::string& text) { return text.data(); });
    pointers.push_back(nullptr);
    execv(program.c_str(), pointers.data());
}

bool IsOnPath(const std::string& program) {
    const char* path = std::getenv("PATH");
    std::istringstream folders(path != nullptr ? path : "");
    for (std::string folder; std::getline(folders, folder, ':');) {
        std::error_code error;
        const std::string candidate = JoinPath(folder.empty() ? "." : folder, program);
        if (std::filesystem::is_regular_file(candidate, error) && access(candidate.c_str(), X_OK) == 0)
            return true;
    }
    return false;
}

Handle OpenProcess(std::uint32_t, bool, std::int32_t processId) {
    const auto found = globals.started.find(processId);
    return found == globals.started.end() ? 0 : AddHandle(found->second);
}

bool GetExitCodeProcess(Handle process, std::uint32_t& exitCode) {
    const auto object = std::dynamic_pointer_cast<Process>(ObjectOf(process));
    if (object)
        exitCode = object->ExitCode();
    return object != nullptr;
}

} // namespace platform

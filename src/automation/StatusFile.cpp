// The text file that reports what an unattended run did.
#include "CodePage.h"
#include "Files.h"
#include "Processes.h"
#include "WindowSystem.h"
#include "basAutomation.h"
#include "basUtils.h"

#include <tuple>
#include <utility>

namespace basAutomation {

namespace {

constexpr std::int32_t HIDDEN_WINDOW = 0;

void MakeFolder(const std::string& path) {
    std::string folder, name;
    basUtils::SplitPath(path, folder, name);
    folder = platform::Trim(folder);
    if (folder.ends_with('\\') || folder.ends_with('/'))
        folder.pop_back();
    if (!folder.empty() && !basApp::DirectoryExists(folder))
        ExecuteAndWait("cmd /c mkdir " + folder, HIDDEN_WINDOW);
}

// Closes what OpenProcess returned on every path.
struct ProcessHandle {
    explicit ProcessHandle(platform::Handle handle) : value(handle) {}
    ~ProcessHandle() { platform::CloseHandle(value); }
    ProcessHandle(const ProcessHandle&) = delete;
    ProcessHandle& operator=(const ProcessHandle&) = delete;
    platform::Handle value;
};

void WriteOrPassOn(std::string_view text) {
    const bool written =
        globals.StatusFileHandle &&
        platform::Attempt([&] { globals.StatusFileHandle->WriteLine(std::string(text)); }, platform::IgnoreFailure);
    if (!written)
        basApp::CurrentFrontEnd().PrintError(text);
}

} // namespace

void CreateStatusFile() {
    globals.StatusFileHandle.reset(); // that of an earlier run
    MakeFolder(globals.StatusFile);
    if (basApp::FileExists(std::as_const(globals.StatusFile))) // where that fails the opening still empties it
        platform::Attempt([] { platform::DeleteFile(globals.StatusFile); }, LogFailure("Initialize"));
    globals.StatusFileHandle = std::make_unique<platform::OutputFile>(globals.StatusFile);
}

void WriteStatusFileLine(std::string_view text) {
    if (globals.StatusFileNumber >= 1)
        WriteOrPassOn(text);
}

std::int32_t ExecuteAndWait(const std::string& command, std::int32_t /*windowStyle*/) {
    constexpr std::uint32_t POLL_TIME = 100; // ms
    const ProcessHandle process(
        platform::OpenProcess(platform::PROCESS_QUERY_INFORMATION, false, platform::Shell(command)));
    std::uint32_t exitCode = platform::STILL_ACTIVE;
    do {
        platform::DoEvents();
        std::ignore = platform::WaitForSingleObject(process.value, POLL_TIME);
        if (!platform::GetExitCodeProcess(process.value, exitCode))
            return -1;
    } while (exitCode == platform::STILL_ACTIVE);
    return static_cast<std::int32_t>(exitCode);
}

} // namespace basAutomation

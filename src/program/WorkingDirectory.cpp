#include "WorkingDirectory.h"

#include "basApp.h"

namespace basApp {

namespace {

constexpr const char* LOCAL_INSTALLS[] = {"\\Program Files\\Hoistline", "\\Program Files\\HoistlineApp"};

// Empty when no drive has one.
std::string FindLocalInstall(const std::function<bool(const std::string&)>& exists) {
    for (const char* candidate : LOCAL_INSTALLS) {
        for (char drive = 'C'; drive <= 'Z'; ++drive) {
            std::string path = std::string(1, drive) + ":" + candidate;
            if (exists(path))
                return path;
        }
    }
    return {};
}

} // namespace

void EnterWorkingDirectory(const std::string& programDirectory, const DirectoryCalls& calls) {
    if (!programDirectory.starts_with("\\\\")) {
        calls.change(programDirectory);
        return;
    }
    const std::string install = FindLocalInstall(calls.exists);
    if (install.empty()) {
        StatusDisplay(LEVEL_USER, "Could not find an install path on the local PC that contains the hoistline "
                                  "information.  The application might not operate properly under these "
                                  "circumstances.");
        return;
    }
    calls.change(install);
    StatusDisplay(LEVEL_WATCH, "The current directory is set to {}.", install);
    StatusDisplay(LEVEL_USER, "Using {} for the local data path.", install);
}

} // namespace basApp

// A run from its preparation on, and one pass over the options.
#include "basAutomation.h"

#include "CodePage.h"
#include "EndRequest.h"
#include "KeyBatch.h"
#include "Processes.h"
#include "RunFailures.h"

#include <utility>

namespace basAutomation {

Globals globals;
Hooks hooks;

namespace {

void SetRunDefaults() {
    const Globals defaults;
    basApp::globals.PerformUnattendedOperations = false;
    globals.ProgramGuidFromFileFlag = false;
    globals.ProgramMacFromFileFlag = false;
    globals.ExecuteKeyBatchFlag = false;
    globals.GuidFile = defaults.GuidFile;
    globals.MacFile = defaults.MacFile;
    globals.StatusFile = defaults.StatusFile;
    globals.StatusFileNumber = 1; // the one that is free
}

void ChooseStatusFile() {
    const std::string commandLine = platform::UpperCase(platform::Trim(basApp::globals.RawCommandLine));
    if (commandLine == "/A" || commandLine == "/F")
        globals.StatusFile = "1394_WRITE_STATUS\\1394_write_status.txt";
}

void HandOverToScheduler() {
    if (hooks.enableMainWindow)
        hooks.enableMainWindow(false);
    if (hooks.enableScheduler)
        hooks.enableScheduler(true);
}

void StartPass(const std::vector<std::string>& options, std::string& matchGuid) {
    globals.ImageFile.clear();
    globals.BootloaderFile.clear();
    globals.ProgramGuidFromFileFlag = false;
    globals.ProgramMacFromFileFlag = false;
    globals.ExecuteKeyBatchFlag = false;
    ApplyOptions(options, matchGuid);
}

bool HasDeviceWork() {
    return !globals.ImageFile.empty() || !globals.BootloaderFile.empty() || globals.ProgramGuidFromFileFlag ||
           globals.ProgramMacFromFileFlag;
}

std::int32_t PerformDeviceWork(const std::string& matchGuid) {
    if (HasDeviceWork()) {
        return m_PerformUnattendedOperations(globals.ProgramGuidFromFileFlag, globals.ProgramMacFromFileFlag,
                                             globals.ImageFile, globals.BootloaderFile, matchGuid);
    }
    return globals.GuidText.empty() ? 0 : WriteGuid(matchGuid, globals.GuidText);
}

void ShowStatusFile() {
    if (globals.ShowOutputOnExit && basApp::FileExists(std::as_const(globals.StatusFile)))
        platform::Shell("cmd /c start notepad.exe " + globals.StatusFile);
}

} // namespace

std::int32_t Initialize() {
    platform::ResumeNext next{Reporter("Initialize")};
    next([] { InitializeCommandLineOptions(); });
    next(SetRunDefaults);
    next(ChooseStatusFile);
    const bool statusFileOpen = next(CreateStatusFile);
    next(HandOverToScheduler);
    basApp::globals.PerformUnattendedOperations = true;
    // Nobody watches the windows: without this line the run would be one that leaves no trace.
    if (!statusFileOpen) {
        StatusDisplay(LEVEL_ERROR, "The status file \"{}\" can't be written; its lines go to standard error.",
                      globals.StatusFile);
    }
    return 1;
}

std::int32_t PerformUnattendedOperations(const std::vector<std::string>& options) {
    platform::ResumeNext next{Reporter("PerformUnattendedOperations")};
    std::string matchGuid;
    next([&] { StartPass(options, matchGuid); });
    const std::int32_t result = Code(next, [&] { return PerformDeviceWork(matchGuid); });
    if (globals.ExecuteKeyBatchFlag && platform::EndRequested())
        EndAfterOperation(); // the batch reports its operations as not done
    if (globals.ExecuteKeyBatchFlag)
        return Code(next, [] { return PerformKeyBatchOperation(globals.KeyBatchFile); });
    if (result != DEVICE_WAS_RESET)
        next(ShowStatusFile);
    return result;
}

} // namespace basAutomation

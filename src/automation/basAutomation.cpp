// The preparation of a run, and one pass over the options.
#include "basAutomation.h"

#include "CodePage.h"
#include "EndRequest.h"
#include "KeyBatch.h"
#include "Processes.h"

#include <utility>

namespace basAutomation {

Globals globals;

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
    globals.Verdict = {};
}

void ChooseStatusFile() {
    const std::string commandLine = platform::UpperCase(platform::Trim(basApp::globals.RawCommandLine));
    if (commandLine == "/A" || commandLine == "/F")
        globals.StatusFile = "1394_WRITE_STATUS\\1394_write_status.txt";
}

void HandOverToScheduler() {
    basApp::CurrentFrontEnd().EnableInput(false);
    basApp::CurrentFrontEnd().EnableScheduler(true);
}

void StartPass(const std::vector<std::string>& options, std::string& matchGuid) {
    globals.ImageFile.clear();
    globals.BootloaderFile.clear();
    globals.ProgramGuidFromFileFlag = false;
    globals.ProgramMacFromFileFlag = false;
    globals.ExecuteKeyBatchFlag = false;
    globals.IdleOptions.clear();
    ApplyOptions(options, matchGuid);
}

bool HasDeviceWork() {
    return !globals.ImageFile.empty() || !globals.BootloaderFile.empty() || globals.ProgramGuidFromFileFlag ||
           globals.ProgramMacFromFileFlag;
}

std::int32_t PerformDeviceWork(const std::string& matchGuid, basApp::RunVerdict& verdict) {
    if (HasDeviceWork()) {
        return m_PerformUnattendedOperations(globals.ProgramGuidFromFileFlag, globals.ProgramMacFromFileFlag,
                                             globals.ImageFile, globals.BootloaderFile, matchGuid, verdict);
    }
    return globals.GuidText.empty() ? 0 : WriteGuid(matchGuid, globals.GuidText, verdict);
}

// For a pass that ends with something left undone.
void NoteUndone(basApp::RunVerdict& verdict, basApp::OutcomeKind outcome, const std::string& reason) {
    basApp::StepVerdict step;
    step.Outcome = outcome;
    step.Reason = reason;
    verdict.Steps.push_back(step);
}

// The batch ends the run, even if its device has only been reset so far.
std::int32_t PerformKeyBatch(std::int32_t resultSoFar, basApp::RunVerdict& verdict) {
    if (platform::EndRequested())
        EndAfterOperation(); // the batch reports its operations as not done
    if (resultSoFar == DEVICE_WAS_RESET) {
        NoteUndone(verdict, basApp::OutcomeKind::Unchanged,
                   "The key batch ended the run when the device had only been reset into its bootloader.");
    }
    return platform::ResultOf([&] { return PerformKeyBatchOperation(globals.KeyBatchFile, verdict); },
                              LogFailure("PerformUnattendedOperations"));
}

void ShowStatusFile() {
    if (globals.ShowOutputOnExit && basApp::FileExists(std::as_const(globals.StatusFile)))
        platform::Shell("cmd /c start notepad.exe " + globals.StatusFile);
}

} // namespace

std::int32_t Initialize() {
    platform::ResumeNext next{LogFailure("Initialize")};
    next([] { InitializeCommandLineOptions(); });
    next(SetRunDefaults);
    next(ChooseStatusFile);
    const bool statusFileOpen = next(CreateStatusFile);
    next(HandOverToScheduler);
    basApp::globals.PerformUnattendedOperations = true;
    // Without this line the run would leave no trace: there are no windows.
    if (!statusFileOpen) {
        StatusDisplay(LEVEL_ERROR, "The status file \"{}\" can't be written; its lines go to standard error.",
                      globals.StatusFile);
    }
    return 1;
}

std::int32_t PerformUnattendedOperations(const std::vector<std::string>& options, basApp::RunVerdict& verdict) {
    const auto logFailure = LogFailure("PerformUnattendedOperations");
    std::string matchGuid;
    platform::Attempt([&] { StartPass(options, matchGuid); }, logFailure);
    std::int32_t result = platform::ResultOf([&] { return PerformDeviceWork(matchGuid, verdict); }, logFailure);
    if (globals.ExecuteKeyBatchFlag)
        result = PerformKeyBatch(result, verdict);
    else if (result == DEVICE_WAS_RESET)
        return result;
    else
        platform::Attempt(ShowStatusFile, logFailure);
    for (const std::string& option : globals.IdleOptions)
        NoteUndone(verdict, basApp::OutcomeKind::Refused, option);
    verdict.Result = result;
    verdict.Conclude();
    return result;
}

} // namespace basAutomation

// The command line and the unattended programming of one device. Key batches: KeyBatch.h.
#pragma once

#include "FileName.h"
#include "ImageDownload.h"
#include "OutputFileOwner.h"
#include "Verdict.h"
#include "basApp.h"

#include <cstdint>
#include <string>
#include <vector>

namespace basAutomation {

struct CommandLineOption {
    std::string Name;
    std::string ShortForm;              // one capital letter
    std::vector<std::string> LongForms; // element 1 is the long spelling
    std::int16_t MinArguments = 0;
    std::int16_t MaxArguments = 0;
    bool IsOperation = false; // calls for an unattended run
    bool TakesFile = false;   // its argument names a file
};

// The rows of CommandLineOptionTable; element 0 is empty.
std::vector<CommandLineOption> OptionRows();

struct Globals {
    std::vector<CommandLineOption> CommandLineOptionTable = OptionRows();
    // Run parameters.
    platform::FileName ImageFile;      // /D, /A, /F
    platform::FileName BootloaderFile; // /B
    platform::FileName GuidFile = "script-data\\GUID.txt";
    std::string GuidText; // /G
    bool ProgramGuidFromFileFlag = false;
    platform::FileName MacFile = "script-data\\MACID.txt";
    std::string MacText; // /M; nothing reads it
    bool ProgramMacFromFileFlag = false;
    platform::FileName KeyBatchFile;      // /R
    platform::FileName KeyBatchDirectory; // the batch file's folder with its separator, or empty
    bool ExecuteKeyBatchFlag = false;
    bool ShowOutputOnExit = false; // /S
    // A sentence for each option of the pass that has no effect.
    std::vector<std::string> IdleOptions;
    // The status file of a run.
    std::string StatusFile = "script-data\\1394_write_status.txt";
    std::int16_t StatusFileNumber = 0; // below 1: no file is open
    OutputFileOwner StatusFileHandle;
    // The scheduler.
    bool SchedulerBusy = false;
    bool PassUnderWay = false; // only during a pass: the scheduler is also busy while it ends the run
    std::int16_t SchedulerTicks = 0;
    std::int32_t SchedulerAttempts = 0;       // resets of the device so far in this run
    bool DeviceWasReset = false;              // by a pass of this run
    bool PersistentParamsInitialized = false; // survives the restarts of a run
    basApp::RunVerdict Verdict;               // complete when the run ends
};
extern Globals globals;

template <class... Arguments>
void StatusDisplay(std::int32_t level, fmt::format_string<Arguments...> text, Arguments&&... arguments) {
    if (!basApp::QuietDuringDownload(level))
        basDebug::Display("basAutomation", level, text, std::forward<Arguments>(arguments)...);
}

// For Attempt, ResumeNext and ResultOf.
inline auto LogFailure(const char* procedure) {
    return [procedure](const platform::Failure& failure) {
        StatusDisplay(LEVEL_ERROR, "Error #{}: {} in {}", failure.Number, failure.Description, procedure);
    };
}

// --- Command line (CommandLine.cpp) ---

// A command line taken apart. Element 0 of each list stays empty.
struct ParsedCommandLine {
    std::vector<std::string> Options = std::vector<std::string>(1);
    std::vector<std::string> TypedOptions = std::vector<std::string>(1); // the same before the change to upper case
    std::vector<std::string> Errors = std::vector<std::string>(1);
};
// Pure. `typed` is `text` before the change to upper case.
[[nodiscard]] ParsedCommandLine SplitCommandLine(const std::string& text, const std::string& typed);
// 1; fills basApp's CommandLineOptions, TypedOptions and CommandLineErrors, and logs the errors. Trims `text`.
[[nodiscard]] std::int32_t ParseCommandLine(std::string& text, const std::string& typed);
std::int32_t InitializeCommandLineOptions(); // 1
[[nodiscard]] bool CommandLineHasOperations(const std::vector<std::string>& options);
void AddCommandLineError(const std::string& message);
// Sets what the options of a pass ask for, in their order (OptionStep.cpp). `matchGuid` is that of /X.
void ApplyOptions(const std::vector<std::string>& options, std::string& matchGuid);

// --- A run (basAutomation.cpp). The procedures of a run add their steps to its verdict. ---

inline constexpr std::int32_t DEVICE_WAS_RESET = 2; // the pass is to be repeated once the device is back

[[nodiscard]] std::int32_t Initialize(); // 1 when a run is prepared
// One pass over the options: the result of the work, or of the key batch; 0 with nothing to do. Concludes the verdict
// unless the pass is to be repeated.
[[nodiscard]] std::int32_t PerformUnattendedOperations(const std::vector<std::string>& options,
                                                       basApp::RunVerdict& verdict);
// The tick of tmrAutomationScheduler (Scheduler.cpp).
void SchedulerTick();
// Ends a pass in order (Scheduler.cpp): the operation under way finishes, no other begins, the result is
// reported, and the program closes as at the end of any run. May be called in any turn. False when no pass
// is under way: the caller closes the program.
bool EndAfterOperation();
// For a run that is ended while it waits for the bus: its verdict, and an ERROR line with the state of the device.
void TellEarlyEnd();

// --- The work (Programming.cpp, OneTarget.cpp). 1 for success. ---

// 0 when it stops before it has touched a device, 2 when it has reset it.
[[nodiscard]] std::int32_t m_PerformUnattendedOperations(bool programGuid, bool programMac,
                                                         const platform::FileName& imageFile,
                                                         const platform::FileName& bootloaderFile,
                                                         const std::string& matchGuid, basApp::RunVerdict& verdict);
// With a matchGuid (upper-case digits) 0 or 1; the out values are those of the last target looked at.
[[nodiscard]] std::int32_t GetNumCompatibleTargets(const std::string& matchGuid, std::int32_t& handle,
                                                   std::int32_t& bootloaderVersion);
// Image1 as application, then the configuration data with factory defaults. A part that the package lacks is left out.
enum class PackageParts { ApplicationAndConfig, ApplicationOnly, ConfigOnly };
[[nodiscard]] std::int32_t ProgramImageAndCneFromFile(std::int32_t handle, const platform::FileName& fileName,
                                                      basApp::RunVerdict& verdict,
                                                      PackageParts parts = PackageParts::ApplicationAndConfig);
// Image1 as bootloader or debugger.
[[nodiscard]] std::int32_t ProgramImageFromFile(std::int32_t handle, std::int32_t imageType,
                                                const platform::FileName& fileName, basApp::RunVerdict& verdict);
[[nodiscard]] std::int32_t initCNEFactoryDefaults(std::int32_t handle);

// --- Identity (Identity.cpp). Text that isn't exactly 8 bytes (6 of a MAC) never reaches the device. ---

// The pass of /G. 2 when the device was reset or its persistent parameters were initialized, 0 for a text
// that isn't a GUID.
[[nodiscard]] std::int32_t WriteGuid(const std::string& matchGuid, const std::string& guidText,
                                     basApp::RunVerdict& verdict);
[[nodiscard]] std::int32_t ProgramGuidFromString(std::int32_t handle, const std::string& text);
[[nodiscard]] std::int32_t ProgramGuidFromFile(std::int32_t handle, const platform::FileName& file);
[[nodiscard]] std::int32_t ProgramMacFromFile(std::int32_t handle, const platform::FileName& file); // 0: no such file

// --- Status file (StatusFile.cpp) ---

// Creates the file of a run, with its folder; an older one is replaced.
void CreateStatusFile();

void WriteStatusFileLine(std::string_view text); // nothing without an open file
// Starts a command and waits for its end, with turns of the window system. Its exit code.
std::int32_t ExecuteAndWait(const std::string& command, std::int32_t windowStyle);

} // namespace basAutomation

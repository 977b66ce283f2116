// The steps of the start-up in their order, and those of the shutdown.
#include "StartUp.h"

#include "CodePage.h"
#include "Dialogs.h"
#include "Handles.h"
#include "Paths.h"
#include "Program.h"
#include "RecordFile.h"
#include "SettingKeys.h"
#include "SingleInstance.h"
#include "WindowSystem.h"
#include "WorkingDirectory.h"
#include "bas1394.h"
#include "basAutomation.h"
#include "basBootloader.h"
#include "basUtils.h"

#include <cstdlib>
#include <initializer_list>
#include <utility>

namespace basApp {

namespace {

bool ClaimInstance() {
    if (platform::ClaimSingleInstance(TITLE))
        return true;
    platform::CurrentDialogs().MessageBox(
        fmt::format("There is already an instance of {} running.  Cannot run a second instance.", TITLE),
        fmt::format("Multiple Instances of {}", TITLE));
    return false;
}

void FixTimeBase() {
    globals.PerformanceFrequency = platform::QueryPerformanceFrequency();
    globals.TicksPerMillisecond = static_cast<std::int32_t>(globals.PerformanceFrequency / 1000);
    globals.ApplicationStartCount = platform::QueryPerformanceCounter();
}

void SetDefaults() {
    globals.OverrideHardwareCompatibility = false;
    globals.DownloadInProgress = false;
    globals.UseTwlThesyconDriver = false;
    globals.DebugMessageLevel = LEVEL_WARNING;
    globals.DebugLoggingLevel = LEVEL_TRACE;
    globals.DllMessageLevel = LEVEL_WARNING;
}

void ChooseWorkingDirectory() {
    EnterWorkingDirectory(platform::ProgramDirectory(), {DirectoryExists, platform::ChangeDirectory});
}

// A stored text that isn't a number is a failure that names the setting: the user has to find it.
std::int32_t NumberSetting(const std::string& key, std::int32_t defaultValue) {
    const std::string stored = program::GlobalSetting(key, std::to_string(defaultValue));
    std::int32_t number = defaultValue;
    platform::Attempt([&] { number = platform::NumberFromText(stored); },
                      [&](const platform::Failure& failure) {
                          platform::Raise(failure.Number,
                                          fmt::format("{} (setting {} = \"{}\")", failure.Description, key, stored));
                      });
    return number;
}

void ReadDllMessageLevel() {
    globals.DllMessageLevel = NumberSetting(settingKeys::DLL_MESSAGE_LEVEL, globals.DllMessageLevel);
}

void ReadDebugMessageLevel() {
    globals.DebugMessageLevel = NumberSetting(settingKeys::DEBUG_MESSAGE_LEVEL, globals.DebugMessageLevel);
}

void ReadDebugLoggingLevel() {
    globals.DebugLoggingLevel = NumberSetting(settingKeys::DEBUG_LOGGING_LEVEL, globals.DebugLoggingLevel);
}

void ReadTransactionTimeout() {
    const std::int32_t stored = NumberSetting(settingKeys::DEFAULT_TRANSACTION_TIMEOUT, DEFAULT_TRANSACTION_TIMEOUT);
    globals.Default1394TransactionTimeout = stored >= 0 ? stored : DEFAULT_TRANSACTION_TIMEOUT;
}

void SetBusTimes() {
    globals.BusResetSettleTime = DEFAULT_SETTLE_TIME;
    globals.CurrentTransactionTimeout = globals.Default1394TransactionTimeout;
}

// Before the working directory changes: paths are relative to the caller's.
void TakeVariables() {
    const char* named = std::getenv(program::BUS_VARIABLE);
    program::globals.BusVariable = program::CallersBus(named == nullptr ? "" : named);
    program::globals.RecordVariable = program::CallersRecord();
}

void ChooseBus() {
    program::globals.Bus = program::DecideBus(program::globals.BusOption, program::globals.BusVariable,
                                              program::GlobalSetting(settingKeys::BUS, ""));
    bas1394::ChooseBus(program::globals.Bus.Choice);
}

void CreateShutdownEvent() {
    globals.ApplicationShutdownEvent = platform::CreateEventA(false, false);
}

void OpenFrontEnd() {
    CurrentFrontEnd().Open();
}

void TakeCommandLine() {
    globals.CommandLine = platform::UpperCase(platform::Trim(globals.RawCommandLine));
}

// True when the options call for an unattended run.
bool OptionsCallForRun() {
    return basAutomation::InitializeCommandLineOptions() == 1 &&
           basAutomation::CommandLineHasOperations(globals.CommandLineOptions);
}

// False when the program is to end at once, since an unattended run could not be set up.
bool ProcessCommandLine() {
    if (basAutomation::ParseCommandLine(globals.CommandLine, globals.RawCommandLine) != 1) {
        StatusDisplay(LEVEL_ERROR, "Error processing command line!");
        return true;
    }
    if (!OptionsCallForRun()) {
        globals.PerformUnattendedOperations = false;
        return true;
    }
    return basAutomation::Initialize() == 1 || !globals.PerformUnattendedOperations;
}

// False when a run is to work on a bus that nobody can know. It would wait for an enumeration for ever.
bool BusCanBeMeant() {
    const std::string& fault = program::globals.Bus.Fault;
    if (fault.empty() || !globals.PerformUnattendedOperations)
        return true;
    StatusDisplay(LEVEL_ERROR, "{}", fault);
    return false;
}

void AnnounceStart() {
    std::string directory, exeName;
    basUtils::SplitPath(platform::ExecutablePath(), directory, exeName);
    StatusDisplay(LEVEL_USER, "Started {} version {}.{}.{} at {}", exeName, VERSION_MAJOR, VERSION_MINOR,
                  VERSION_REVISION, basUtils::FormatSystemTime(platform::GetLocalTime(), "yyyy-mm-dd hh:nn:ss"));
}

void AnnounceCommandLine() {
    if (!globals.RawCommandLine.empty())
        StatusDisplay(LEVEL_USER, "Command line options = \"{}\"", globals.RawCommandLine);
}

void AnnounceTimeout() {
    StatusDisplay(LEVEL_WATCH, "Default 1394 transaction timeout = {}", globals.Default1394TransactionTimeout);
}

void AnnounceBus() {
    const program::WhichBus& bus = program::globals.Bus;
    if (!bus.Fault.empty()) {
        StatusDisplay(LEVEL_ERROR, "{}", bus.Fault);
        return;
    }
    StatusDisplay(LEVEL_USER, "Bus: {}", program::BusText(bus));
    const bool isKernel = bus.Choice.Kind == bas1394::BusKind::Kernel;
    if (const std::string reason = isKernel ? program::WhyNoBus() : ""; !reason.empty())
        StatusDisplay(LEVEL_WATCH, "{}  For the simulated bus: {}=simulated.", reason, program::BUS_VARIABLE);
}

void LoadLibraryAndModules() {
    if (!program::globals.Bus.Fault.empty()) // rather none than one that nobody meant
        return;
    if (bas1394::LoadTwl1394Dll(true) == nullptr)
        return;
    InitializeBootloaderModule();
    InitializeDebuggerModule();
}

// It would wait for ever for the enumeration that it begins after.
void EndRunWithoutLibrary() {
    if (!globals.PerformUnattendedOperations || bas1394::globals.LibraryModule != nullptr)
        return;
    StatusDisplay(LEVEL_ERROR, "The run can't begin without an access library.  No device was changed.");
    basAutomation::globals.Verdict.End(OutcomeKind::Unchanged, "There is no access library.");
    platform::Post([] { CurrentFrontEnd().EndRun(); });
}

// Fails when no library is loaded, and so keeps the first enumeration from being asked for.
void PassLevelToLibrary() {
    bas1394::SetDllMessageLevel(globals.DllMessageLevel);
}

void RequestFirstEnumeration() {
    bas1394::globals.BusResetPending = true;
    bas1394::globals.BusEnumerated = false;
}

void TakeFocus() {
    CurrentFrontEnd().TakeFocus();
}

using Step = void (*)();

constexpr Step UP_TO_THE_WINDOWS[] = {
    FixTimeBase,         SetDefaults,           TakeVariables,         ChooseWorkingDirectory, program::CreateStore,
    ReadDllMessageLevel, ReadDebugMessageLevel, ReadDebugLoggingLevel, ReadTransactionTimeout, ChooseBus,
    SetBusTimes,         CreateShutdownEvent,   OpenFrontEnd,          TakeCommandLine,
};

constexpr Step DOWN_TO_THE_BUS[] = {
    AnnounceStart,
    AnnounceCommandLine,
    AnnounceBus,
    AnnounceTimeout,
    VerifySupportingFiles,
    basBootloader::InitializeTargetList,
    bas1394::PrepareTables,
    program::ChooseRecordFile,
    LoadLibraryAndModules,
    EndRunWithoutLibrary,
    PassLevelToLibrary,
    RequestFirstEnumeration,
    TakeFocus,
};

// Main's handler of failures: number 5 skips one step, any other the rest of the start-up. False for
// the latter.
template <class Statement> bool RunStep(const Statement& step) {
    bool goOn = true;
    platform::Attempt(step, [&goOn](const platform::Failure& failure) {
        goOn = failure.Number == platform::INVALID_CALL;
        if (goOn)
            StatusDisplay(LEVEL_WARNING, "ERROR #5: {} in Main.  Aborting current operation on moving onto the next.",
                          failure.Description);
        else
            StatusDisplay(LEVEL_ERROR, "ERROR #{}: {} in Main.  Exiting initialization abnormally.", failure.Number,
                          failure.Description);
    });
    return goOn;
}

template <std::size_t Count> bool RunSteps(const Step (&steps)[Count]) {
    for (Step step : steps)
        if (!RunStep(step))
            return false;
    return true;
}

ByteArray ModuleName(std::string_view name) {
    return ByteArray(name.begin(), name.end());
}

std::int32_t HookModule(ByteArray& name) {
    if (name.empty() || name.back() != 0)
        name.push_back(0);
    StatusDisplay(LEVEL_WATCH, "Calling HookSystemModule...");
    const std::int32_t result = bas1394::HookSystemModule(name);
    if (result != 1)
        StatusDisplay(LEVEL_ERROR, "HookSystemModule failed, code {}(0x{:X} in InitializeModule", result, Bits(result));
    return result;
}

void SignalShutdown() {
    if (globals.ApplicationShutdownEvent != 0)
        platform::SetEvent(globals.ApplicationShutdownEvent);
}

void CloseShutdownEvent() {
    if (globals.ApplicationShutdownEvent != 0)
        platform::CloseHandle(std::exchange(globals.ApplicationShutdownEvent, 0));
}

void EndProgram() {
    CurrentFrontEnd().EndProgram();
}

void RunPastFailures(std::initializer_list<Step> steps) {
    for (Step step : steps)
        platform::Attempt(step, platform::IgnoreFailure);
}

} // namespace

std::int32_t InitializeModule(ByteArray name) {
    std::int32_t result = 0;
    platform::Attempt([&] { result = HookModule(name); },
                      [](const platform::Failure& failure) {
                          StatusDisplay(LEVEL_ERROR, "ERROR #{}: {} in InitializeModule", failure.Number,
                                        failure.Description);
                      });
    return result;
}

void InitializeBootloaderModule() {
    StatusDisplay(LEVEL_WATCH, "Initializing the bootloader module...");
    InitializeModule(ModuleName("Bootloader"));
    StatusDisplay(LEVEL_WATCH, "The bootloader module has been initialized.");
}

void InitializeDebuggerModule() {
    StatusDisplay(LEVEL_WATCH, "Initializing the debugger module...");
    InitializeModule(ModuleName("1394debugger"));
    StatusDisplay(LEVEL_WATCH, "The debugger module has been initialized.");
}

void ShutdownApplication() {
    RunPastFailures({SignalShutdown, CloseShutdownEvent, basBootloader::TerminateTargetList, bas1394::UnloadTwl1394Dll,
                     program::ReleaseStore, EndProgram});
}

void ShutdownWithoutLibrary() {
    RunPastFailures({SignalShutdown, CloseShutdownEvent, basBootloader::TerminateTargetList, program::ReleaseStore});
}

static bool Start(const std::string& rawCommandLine) {
    globals.RawCommandLine = rawCommandLine;
    bool lives = true;
    if (RunSteps(UP_TO_THE_WINDOWS) && RunStep([&lives] { lives = ProcessCommandLine() && BusCanBeMeant(); }) && lives)
        RunSteps(DOWN_TO_THE_BUS);
    return lives;
}

bool Main(const std::string& rawCommandLine) {
    return ClaimInstance() && Start(rawCommandLine);
}

bool StartBesideOthers() {
    return Start({});
}

} // namespace basApp

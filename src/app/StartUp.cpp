// The program's entry: the steps of the start-up in their order.
#include "CodePage.h"
#include "Dialogs.h"
#include "Paths.h"
#include "SingleInstance.h"
#include "WorkingDirectory.h"
#include "basApp.h"
#include "basUtils.h"

namespace basApp {

namespace {

constexpr std::int32_t DEFAULT_TRANSACTION_TIMEOUT = 200; // ms
constexpr std::int32_t DEFAULT_SETTLE_TIME = 200;         // ms

void CallHook(const std::function<void()>& hook) {
    if (hook)
        hook();
}

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

void CreateStore() {
    CallHook(hooks.createStore);
}

// A stored text that isn't a number is a failure that names the setting: the user has to find it.
std::int32_t NumberSetting(const std::string& key, std::int32_t defaultValue) {
    if (!hooks.globalSetting)
        return defaultValue;
    const std::string stored = hooks.globalSetting(key, std::to_string(defaultValue));
    std::int32_t number = defaultValue;
    platform::Attempt([&] { number = platform::NumberFromText(stored); },
                      [&](const platform::Failure& failure) {
                          platform::Raise(failure.Number,
                                          fmt::format("{} (setting {} = \"{}\")", failure.Description, key, stored));
                      });
    return number;
}

void ReadDllMessageLevel() {
    globals.DllMessageLevel = NumberSetting("DllMessageLevel", globals.DllMessageLevel);
}

void ReadDebugMessageLevel() {
    globals.DebugMessageLevel = NumberSetting("DebugMessageLevel", globals.DebugMessageLevel);
}

void ReadDebugLoggingLevel() {
    globals.DebugLoggingLevel = NumberSetting("DebugLoggingLevel", globals.DebugLoggingLevel);
}

void ReadTransactionTimeout() {
    const std::int32_t stored = NumberSetting("Default1394TransactionTimeout", DEFAULT_TRANSACTION_TIMEOUT);
    globals.Default1394TransactionTimeout = stored >= 0 ? stored : DEFAULT_TRANSACTION_TIMEOUT;
}

void SetBusTimes() {
    globals.BusResetSettleTime = DEFAULT_SETTLE_TIME;
    globals.CurrentTransactionTimeout = globals.Default1394TransactionTimeout;
}

void CreateShutdownEvent() {
    globals.ApplicationShutdownEvent = platform::CreateEventA(false, false);
}

void LoadParentWindow() {
    CallHook(hooks.loadParentWindow);
}

void TakeCommandLine() {
    globals.CommandLine = platform::UpperCase(platform::Trim(globals.RawCommandLine));
}

// True when the options call for an unattended run.
bool OptionsCallForRun() {
    if (hooks.initializeCommandLineOptions && hooks.initializeCommandLineOptions() != 1)
        return false;
    return hooks.commandLineHasOperations && hooks.commandLineHasOperations();
}

// False when the program is to end at once, since an unattended run could not be set up.
bool ProcessCommandLine() {
    if (hooks.parseCommandLine && hooks.parseCommandLine(globals.CommandLine, globals.RawCommandLine) != 1) {
        StatusDisplay(LEVEL_ERROR, "Error processing command line!");
        return true;
    }
    if (!OptionsCallForRun()) {
        globals.PerformUnattendedOperations = false;
        return true;
    }
    const bool ready = !hooks.initializeUnattendedRun || hooks.initializeUnattendedRun() == 1;
    return ready || !globals.PerformUnattendedOperations;
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

void InitializeTargetModule() {
    CallHook(hooks.initializeTargetList);
}

void PrepareNodeTable() {
    CallHook(hooks.prepareNodeTable);
}

void LoadLibraryAndModules() {
    if (!hooks.loadLibrary || hooks.loadLibrary() == nullptr)
        return;
    InitializeBootloaderModule();
    InitializeDebuggerModule();
}

// Fails when no library is loaded, and so keeps the first enumeration from being asked for.
void PassLevelToLibrary() {
    if (hooks.setDebugSpew)
        hooks.setDebugSpew(globals.DllMessageLevel);
}

void RequestFirstEnumeration() {
    CallHook(hooks.requestFirstEnumeration);
}

void FocusMainWindow() {
    CallHook(hooks.focusMainWindow);
}

using Step = void (*)();

constexpr Step UP_TO_THE_WINDOWS[] = {
    FixTimeBase,         SetDefaults,           ChooseWorkingDirectory, CreateStore,
    ReadDllMessageLevel, ReadDebugMessageLevel, ReadDebugLoggingLevel,  ReadTransactionTimeout,
    SetBusTimes,         CreateShutdownEvent,   LoadParentWindow,       TakeCommandLine,
};

constexpr Step DOWN_TO_THE_BUS[] = {
    AnnounceStart,    AnnounceCommandLine,   AnnounceTimeout,    VerifySupportingFiles,   InitializeTargetModule,
    PrepareNodeTable, LoadLibraryAndModules, PassLevelToLibrary, RequestFirstEnumeration, FocusMainWindow,
};

// Main's handler of failures: number 5 costs one step, any other the rest of the start-up. False
// for the latter.
template <class Statement> bool RunStep(const Statement& step) {
    bool goOn = true;
    platform::Attempt(step, [&goOn](const platform::Failure& failure) {
        goOn = failure.Number == platform::INVALID_CALL;
        if (goOn) {
            StatusDisplay(LEVEL_WARNING, "ERROR #5: {} in Main.  Aborting current operation on moving onto the next.",
                          failure.Description);
        } else {
            StatusDisplay(LEVEL_ERROR, "ERROR #{}: {} in Main.  Exiting initialization abnormally.", failure.Number,
                          failure.Description);
        }
    });
    return goOn;
}

template <std::size_t Count> bool RunSteps(const Step (&steps)[Count]) {
    for (Step step : steps) {
        if (!RunStep(step))
            return false;
    }
    return true;
}

} // namespace

bool Main(const std::string& rawCommandLine) {
    if (!ClaimInstance())
        return false;
    globals.RawCommandLine = rawCommandLine;
    bool lives = true;
    if (RunSteps(UP_TO_THE_WINDOWS) && RunStep([&lives] { lives = ProcessCommandLine(); }) && lives)
        RunSteps(DOWN_TO_THE_BUS);
    return lives;
}

} // namespace basApp

#include "Wiring.h"

#include "BusEnumeration.h"
#include "bas1394.h"
#include "basAutomation.h"
#include "basBootloader.h"
#include "basUtils.h"

namespace wiring {

Globals globals;

namespace {

void CreateStore() {
    globals.DbManager = std::make_unique<clsDbManager>();
    basDebug::hooks.appendToLog = [](std::string_view message, std::int32_t level, std::string_view module,
                                     std::int32_t runTime) {
        globals.DbManager->AppendToLog(message, level, module, runTime);
    };
}

void ReleaseStore() {
    basDebug::hooks.appendToLog = nullptr; // its last messages go straight into the log
    globals.DbManager.reset();
}

std::string GlobalSetting(const std::string& key, const std::string& defaultValue) {
    return globals.DbManager ? globals.DbManager->GetSetting(basApp::TITLE, "Global", key, defaultValue) : defaultValue;
}

void RequestFirstEnumeration() {
    bas1394::globals.BusResetPending = true;
    bas1394::globals.BusEnumerated = false;
}

void InterruptDiscovery() {
    basBootloader::globals.DiscoveryInterrupted = true;
    basBootloader::globals.DiscoveryComplete = false;
}

void LogTargets() {
    std::size_t index = 0;
    for (const BootloaderTarget& target : basBootloader::globals.TargetList) {
        bas1394::StatusDisplay(LEVEL_TRACE, "Bootloader #{}: handle={}  node={}  GUID={}  bl ver={} ", index++,
                               target.Handle, target.Device.NodeNum,
                               basUtils::ByteArrayToHexString(target.Info.GUID.data(), target.Info.GUID.size()),
                               target.Info.BootloaderVersion);
    }
}

void WireMessages(const WindowHooks& windows) {
    basDebug::hooks = {};
    basDebug::hooks.statusWindowWants = windows.statusWindowWants;
    basDebug::hooks.postToStatusWindow = windows.postToStatusWindow;
    basDebug::hooks.statusWindowCount = windows.statusWindowCount;
    basDebug::hooks.echo = [](std::string_view message, std::int32_t level, std::string_view) {
        EchoMessage(message, level);
    };
}

void ShowStoreNotice(const std::string& text) {
    if (globals.windows.standardError && !text.empty())
        globals.windows.standardError("HoistlineApp: " + text);
    if (globals.windows.storeNotice)
        globals.windows.storeNotice(text);
}

void WireStartAndStop(const WindowHooks& windows) {
    basApp::hooks = {
        .createStore = CreateStore,
        .releaseStore = ReleaseStore,
        .globalSetting = GlobalSetting,
        .loadParentWindow = windows.loadParentWindow,
        .mainWindowExists = windows.mainWindowExists,
        .focusMainWindow = windows.focusMainWindow,
        .parseCommandLine = basAutomation::ParseCommandLine,
        .initializeCommandLineOptions = basAutomation::InitializeCommandLineOptions,
        .commandLineHasOperations =
            [] { return basAutomation::CommandLineHasOperations(basApp::globals.CommandLineOptions); },
        .initializeUnattendedRun = basAutomation::Initialize,
        .initializeTargetList = basBootloader::InitializeTargetList,
        .terminateTargetList = basBootloader::TerminateTargetList,
        .prepareNodeTable = bas1394::PrepareTables,
        .loadLibrary = [] { return bas1394::LoadTwl1394Dll(true); },
        .unloadLibrary = bas1394::UnloadTwl1394Dll,
        .hookSystemModule = bas1394::HookSystemModule,
        .setDebugSpew = bas1394::SetDllMessageLevel,
        .requestFirstEnumeration = RequestFirstEnumeration,
        .queryElapsedTimeMs = bas1394::QueryElapsedTimeMs,
        .writeStatusFileLine = basAutomation::WriteStatusFileLine,
        .storeNotice = ShowStoreNotice,
        .endProgram = windows.endProgram,
    };
}

void WireBus(const WindowHooks& windows) {
    bas1394::hooks = {
        .nodesChanged = windows.nodesChanged,
        .resetComplete = windows.resetComplete,
        .incomingData = windows.incomingData,
        .debugSpew = windows.debugSpew,
        .bootloaderBusReset = basBootloader::BusResetHandler,
        .discoveryOwed = basBootloader::TakeOwedDiscovery,
        .answerAwaited = [] { return basBootloader::AnswerAwaited(); },
        .discoveryInterrupted = InterruptDiscovery,
        .logTargets = LogTargets,
        .startBusTimers = windows.startBusTimers,
    };
    basBootloader::hooks = {.nodesChanged = windows.nodesChanged, .shellCharactersLost = windows.shellCharactersLost};
}

void WireAutomation(const WindowHooks& windows) {
    basAutomation::hooks = {
        .enableMainWindow = windows.enableMainWindow,
        .enableScheduler = windows.enableScheduler,
        .endRun = windows.endRun,
        .statusFileLost = windows.standardError,
        .showProgress = EchoProgress,
    };
}

} // namespace

void WireProgram(const WindowHooks& windows) {
    SurviveLostReader();
    globals.windows = windows;
    WireMessages(windows);
    WireStartAndStop(windows);
    WireBus(windows);
    WireAutomation(windows);
}

} // namespace wiring

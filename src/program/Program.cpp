#include "Program.h"

#include "BusPump.h"
#include "SettingKeys.h"
#include "bas1394.h"
#include "basAutomation.h"
#include "basBootloader.h"
#include "basUtils.h"

#include <csignal>

namespace program {

Globals globals;

namespace {

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

// Gives the layers what lies above them, which they can't call by name.
void JoinLayers() {
    basApp::hooks = {
        .queryElapsedTimeMs = bas1394::QueryElapsedTimeMs,
        .writeStatusFileLine = basAutomation::WriteStatusFileLine,
    };
    basDebug::hooks = {};
    bas1394::hooks = {
        .incomingData = IEEE1394IncomingDataHandler,
        .bootloaderBusReset = basBootloader::BusResetHandler,
        .discoveryOwed = basBootloader::TakeOwedDiscovery,
        .answerAwaited = [] { return basBootloader::AnswerAwaited() || basBootloader::AnyLoadedByAnother(); },
        .discoveryInterrupted = InterruptDiscovery,
        .logTargets = LogTargets,
    };
}

} // namespace

void UseFrontEnd(basApp::FrontEnd& frontEnd) {
    // The reader of standard output may exit in the middle of a load. The signal would end the program and leave the
    // device with half an image.
    std::signal(SIGPIPE, SIG_IGN);
    basApp::UseFrontEnd(&frontEnd);
    JoinLayers();
}

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
    return globals.DbManager
               ? globals.DbManager->GetSetting(basApp::TITLE, settingKeys::GLOBAL_SECTION, key, defaultValue)
               : defaultValue;
}

} // namespace program

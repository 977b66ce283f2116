#include "WindowWiring.h"

#include "WindowSettings.h"
#include "Windows.h"
#include "Wiring.h"

#include <string>
#include <utility>

namespace {

wiring::WindowHooks HooksOfTheWindows(std::function<void()> endProgram) {
    wiring::WindowHooks hooks;
    hooks.loadParentWindow = windows::LoadParentWindow;
    hooks.mainWindowExists = [] { return windows::globals.main != nullptr; };
    hooks.focusMainWindow = windows::FocusMainWindow;
    hooks.nodesChanged = windows::NodesChanged;
    hooks.resetComplete = windows::ResetComplete;
    hooks.incomingData = windows::IncomingData;
    hooks.shellCharactersLost = windows::CharactersLost;
    hooks.debugSpew = windows::AppendDebugSpew;
    hooks.storeNotice = windows::ShowStoreNotice;
    hooks.startBusTimers = windows::StartBusTimers;
    hooks.statusWindowWants = windows::StatusWindowWants;
    hooks.postToStatusWindow = windows::PostToStatusWindow;
    hooks.statusWindowCount = [] { return windows::globals.statusWindows.size(); };
    hooks.enableMainWindow = windows::EnableMainWindow;
    hooks.enableScheduler = windows::EnableScheduler;
    hooks.endRun = windows::EndUnattendedRun;
    hooks.endProgram = std::move(endProgram);
    hooks.readyToEnd = windows::ReadyToEnd;
    hooks.unloadWindows = windows::UnloadParentWindow;
    return hooks;
}

windowSettings::Hooks SettingsOfTheWindows() {
    return {
        .hasStore = [] { return wiring::globals.DbManager != nullptr; },
        .get =
            [](const std::string& section, const std::string& key, const std::string& defaultValue) {
                return wiring::globals.DbManager->GetSetting(basApp::TITLE, section, key, defaultValue);
            },
        .save =
            [](const std::string& section, const std::string& key, const std::string& value) {
                wiring::globals.DbManager->SaveSetting(basApp::TITLE, section, key, value);
            },
        .remove = [](const std::string& section,
                     const std::string& key) { wiring::globals.DbManager->RemoveSetting(basApp::TITLE, section, key); },
    };
}

} // namespace

void WireWindows(std::function<void()> endProgram) {
    wiring::WireProgram(HooksOfTheWindows(std::move(endProgram)));
    windowSettings::hooks = SettingsOfTheWindows();
    windows::hooks.shutdownApplication = basApp::ShutdownApplication;
    windows::hooks.sendErrorReport = [] {
        return wiring::globals.DbManager ? wiring::globals.DbManager->SendErrorReport() : -1;
    };
}

// Clean modules, a program directory of its own, and everything that reaches the stored log.
#pragma once

#include "ManualWindowSystem.h"
#include "Paths.h"
#include "ScriptedDialogs.h"
#include "TemporaryDirectory.h"
#include "VirtualClock.h"
#include "basApp.h"

#include <gtest/gtest.h>

class AppTest : public ::testing::Test {
protected:
    AppTest() {
        CleanModules();
        platform::UseProgramDirectory(folder.path());
        basDebug::hooks.appendToLog = [this](std::string_view message, std::int32_t level, auto&&...) {
            log.push_back(fmt::format("{} {}", level, message));
        };
    }
    ~AppTest() override {
        CleanModules();
        platform::UseProgramDirectory("");
    }

    platform::testing::TemporaryDirectory folder;
    platform::testing::VirtualClock clock;
    platform::testing::ManualWindowSystem windowSystem;
    platform::testing::ScriptedDialogs dialogs;
    std::vector<std::string> log; // "level message"

private:
    static void CleanModules() {
        basApp::globals = {};
        basApp::hooks = {};
        basDebug::globals = {};
        basDebug::hooks = {};
    }
};

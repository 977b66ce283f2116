// Clean modules, a program directory of its own, and everything that reaches the stored log.
#pragma once

#include "ManualWindowSystem.h"
#include "Paths.h"
#include "ScriptedDialogs.h"
#include "ScriptedFrontEnd.h"
#include "TestFolder.h"
#include "VirtualClock.h"
#include "basApp.h"

#include <gtest/gtest.h>

#include <algorithm>

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
    std::size_t CountLogged(const std::string& part) const {
        const auto holdsIt = [&](const std::string& line) { return line.find(part) != line.npos; };
        return static_cast<std::size_t>(std::ranges::count_if(log, holdsIt));
    }
    bool Logged(const std::string& part) const { return part.empty() || CountLogged(part) > 0; }

    TestFolder folder;
    platform::testing::VirtualClock clock;
    platform::testing::ManualWindowSystem windowSystem;
    platform::testing::ScriptedDialogs dialogs;
    testing_support::ScriptedFrontEnd frontEnd;
    std::vector<std::string> log; // "level message"

private:
    static void CleanModules() {
        basApp::globals = {};
        basApp::hooks = {};
        basDebug::globals = {};
        basDebug::hooks = {};
    }
};

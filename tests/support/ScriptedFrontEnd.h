// A front end that a test takes apart call by call. It is the current one while it lives.
#pragma once

#include "FrontEnd.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace testing_support {

class ScriptedFrontEnd : public basApp::FrontEnd {
public:
    ScriptedFrontEnd() { basApp::UseFrontEnd(this); }
    ~ScriptedFrontEnd() override { basApp::UseFrontEnd(nullptr); }

    bool IsOpen() const override { return open; }
    std::size_t StatusWindowCount() const override { return statusWindows; }
    bool StatusWindowWants(std::size_t slot, std::int32_t level) const override {
        return statusWindowWants && statusWindowWants(slot, level);
    }
    void PostToStatusWindow(std::size_t slot, std::string_view message, float time, std::int32_t level,
                            std::string_view module) override {
        postToStatusWindow(slot, message, time, level, module);
    }
    void AppendDebugSpew(const std::string& text) override { debugSpew += text; }
    void ShowStoreNotice(const std::string& text) override { storeNotices.push_back(text); }
    void StartBusTimers() override { ++timerStarts; }
    void NodesChanged() override {
        if (nodesChanged)
            nodesChanged();
    }
    void ResetComplete() override { ++completions; }
    void ShellCharactersLost(std::int32_t, std::int32_t count) override { lostCharacters += count; }
    void EndRun() override {
        if (endRun)
            endRun();
    }

    bool open = true;
    std::size_t statusWindows = 0;
    std::function<bool(std::size_t slot, std::int32_t level)> statusWindowWants;
    std::function<void(std::size_t, std::string_view, float, std::int32_t, std::string_view)> postToStatusWindow;
    std::function<void()> nodesChanged, endRun;
    std::string debugSpew;
    std::vector<std::string> storeNotices;
    int timerStarts = 0, completions = 0;
    std::int32_t lostCharacters = 0;
};

} // namespace testing_support

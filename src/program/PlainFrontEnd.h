// The front end of a program without windows, and the base of the one with windows: an unattended run prints its
// messages of level WATCH and above and its progress on standard output, line by line.
#pragma once

#include "BusPump.h"
#include "FrontEnd.h"
#include "Levels.h"
#include "ProgramEnd.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace program {

// Messages of `MessageLevel` and above go to standard error, boxes as well (platform/Dialogs.h).
class PlainFrontEnd : public basApp::FrontEnd {
public:
    // `endProgram` is the last step of the shutdown; it ends the message loop.
    explicit PlainFrontEnd(std::function<void()> endProgram = {}) : endProgram_(std::move(endProgram)) {}

    void Open() override;
    bool IsOpen() const override { return open_; }
    void Close() override;
    void EndProgram() override;

    std::size_t StatusWindowCount() const override { return 1; }
    bool StatusWindowWants(std::size_t slot, std::int32_t level) const override;
    void PostToStatusWindow(std::size_t slot, std::string_view message, float elapsedTime, std::int32_t level,
                            std::string_view module) override;
    void EchoMessage(std::string_view message, std::int32_t level) override;
    void ShowStoreNotice(const std::string& text) override;
    void PrintError(std::string_view line) override;

    void StartBusTimers() override;
    void NodesChanged() override; // a turn of the message loop

    void EnableScheduler(bool enabled) override;
    // "progress <step> <bytes>/<length>" at each new step and each twentieth of the length.
    void ShowProgress(const basApp::LoadProgress& progress) override;
    void EndRun() override;

    // One line on standard output, flushed so that a supervisor sees it at once.
    virtual void Print(std::string_view line);

    std::int32_t MessageLevel = LEVEL_ERROR; // lowest level that is shown

private:
    std::function<void()> endProgram_;
    bool open_ = false;
    std::optional<BusPump> pump_;
    std::optional<EndWatch> endWatch_;
    // The progress line printed last.
    basApp::LoadProgress::Step shownStep_ = basApp::LoadProgress::Step::Done;
    std::int64_t shownTwentieth_ = 0; // of the section's length
};

} // namespace program

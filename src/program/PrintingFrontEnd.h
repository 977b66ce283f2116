// What every front end of the program shares, with windows or without: an unattended run prints its messages of level
// WATCH and above and its progress on standard output, line by line; other lines go to standard error.
#pragma once

#include "FrontEnd.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace program {

class PrintingFrontEnd : public basApp::FrontEnd {
public:
    // `endProgram` is the last step of the shutdown; it ends the message loop.
    explicit PrintingFrontEnd(std::function<void()> endProgram = [] {}) : endProgram_(std::move(endProgram)) {}
    void EndProgram() override { endProgram_(); }

    void EchoMessage(std::string_view message, std::int32_t level) override;
    void ShowStoreNotice(const std::string& text) override;
    void PrintError(std::string_view line) override;
    // "progress <step> <bytes>/<length>" at each new step and each twentieth of the length.
    void ShowProgress(const basApp::LoadProgress& progress) override;

    // One line on standard output, flushed so that a supervisor sees it at once.
    virtual void Print(std::string_view line);

protected:
    // "<level> <message>" on one line.
    static std::string MessageLine(std::string_view message, std::int32_t level);

private:
    std::function<void()> endProgram_;
    // The progress line printed last.
    basApp::LoadProgress::Step shownStep_ = basApp::LoadProgress::Step::Done;
    std::int64_t shownTwentieth_ = 0; // of the section's length
};

} // namespace program

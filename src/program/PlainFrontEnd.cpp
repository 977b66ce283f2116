#include "PlainFrontEnd.h"

#include "Program.h"
#include "basApp.h"

#include <algorithm>
#include <cstdio>

namespace program {

namespace {

using Step = basApp::LoadProgress::Step;

const char* StepName(Step step) {
    switch (step) {
    case Step::Reading:
        return "reading";
    case Step::Erasing:
        return "erasing";
    case Step::Loading:
        return "loading";
    case Step::Checking:
        return "checking";
    case Step::Done:
        break;
    }
    return "done";
}

std::int64_t Twentieth(const basApp::LoadProgress& progress) {
    return progress.length > 0 ? progress.bytes * 20 / progress.length : 0;
}

void PrintTo(std::FILE* file, std::string_view line) {
    std::fwrite(line.data(), 1, line.size(), file);
    std::fputc('\n', file);
    std::fflush(file);
}

std::string MessageLine(std::string_view message, std::int32_t level) {
    std::string line = fmt::format("{:<7} {}", basDebug::GetLevelName(level), message);
    std::replace_if(
        line.begin(), line.end(), [](char c) { return c == '\r' || c == '\n'; }, ' ');
    return line;
}

} // namespace

void PlainFrontEnd::Open() {
    pump_.emplace();
    pump_->StartBusTimers();
    pump_->TakeNotices();
    endWatch_.emplace();
    open_ = true;
}

void PlainFrontEnd::Close() {
    if (!open_)
        return;
    open_ = false;
    endWatch_.reset();
    pump_->Stop();
    basApp::ShutdownApplication();
}

void PlainFrontEnd::EndProgram() {
    if (endProgram_)
        endProgram_();
}

bool PlainFrontEnd::StatusWindowWants(std::size_t slot, std::int32_t level) const {
    return slot == 0 && level >= MessageLevel;
}

// A run's messages of WATCH and above are on standard output already.
void PlainFrontEnd::PostToStatusWindow(std::size_t /*slot*/, std::string_view message, float /*elapsedTime*/,
                                       std::int32_t level, std::string_view /*module*/) {
    if (level < LEVEL_WATCH || !basApp::globals.PerformUnattendedOperations)
        PrintError(MessageLine(message, level));
}

void PlainFrontEnd::EchoMessage(std::string_view message, std::int32_t level) {
    Print(MessageLine(message, level));
}

void PlainFrontEnd::ShowStoreNotice(const std::string& text) {
    if (!text.empty())
        PrintError("HoistlineApp: " + text);
}

void PlainFrontEnd::Print(std::string_view line) {
    PrintTo(stdout, line);
}

void PlainFrontEnd::PrintError(std::string_view line) {
    PrintTo(stderr, line);
}

void PlainFrontEnd::StartBusTimers() {
    if (pump_)
        pump_->StartBusTimers();
}

void PlainFrontEnd::NodesChanged() {
    platform::DoEvents();
}

void PlainFrontEnd::EnableScheduler(bool enabled) {
    if (pump_)
        pump_->tmrAutomationScheduler->SetEnabled(enabled);
}

void PlainFrontEnd::EndRun() {
    EnableScheduler(false);
    platform::DoEvents();
    Close();
}

void PlainFrontEnd::ShowProgress(const basApp::LoadProgress& progress) {
    if (!basApp::globals.PerformUnattendedOperations)
        return;
    const std::int64_t twentieth = Twentieth(progress);
    if (progress.step == shownStep_ && twentieth == shownTwentieth_)
        return;
    shownStep_ = progress.step;
    shownTwentieth_ = twentieth;
    Print(fmt::format("progress {} {}/{}", StepName(progress.step), progress.bytes, progress.length));
}

} // namespace program

// What an unattended run prints, for those who watch a terminal or a pipe in place of windows.
#include "Wiring.h"

#include "basApp.h"

#include <algorithm>
#include <csignal>
#include <cstdio>

namespace wiring {

namespace {

using Step = basBootloader::LoadProgress::Step;

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

std::int64_t Twentieth(const basBootloader::LoadProgress& progress) {
    return progress.length > 0 ? progress.bytes * 20 / progress.length : 0;
}

void Print(std::FILE* file, std::string_view line) {
    std::fwrite(line.data(), 1, line.size(), file);
    std::fputc('\n', file);
    std::fflush(file);
}

bool RunIsOn() {
    return basApp::globals.PerformUnattendedOperations && globals.windows.standardOutput;
}

} // namespace

// Whoever reads may go away in the middle of a load, and the device would be left with half an image.
void SurviveLostReader() {
    std::signal(SIGPIPE, SIG_IGN);
}

void PrintToStandardOutput(std::string_view line) {
    Print(stdout, line);
}

void PrintToStandardError(std::string_view line) {
    Print(stderr, line);
}

void EchoMessage(std::string_view message, std::int32_t level) {
    if (!RunIsOn())
        return;
    std::string line = fmt::format("{:<7} {}", basDebug::GetLevelName(level), message);
    std::replace_if(
        line.begin(), line.end(), [](char c) { return c == '\r' || c == '\n'; }, ' ');
    globals.windows.standardOutput(line);
}

void EchoProgress(const basBootloader::LoadProgress& progress) {
    if (!RunIsOn())
        return;
    const std::int64_t twentieth = Twentieth(progress);
    if (progress.step == globals.ShownStep && twentieth == globals.ShownTwentieth)
        return;
    globals.ShownStep = progress.step;
    globals.ShownTwentieth = twentieth;
    globals.windows.standardOutput(
        fmt::format("progress {} {}/{}", StepName(progress.step), progress.bytes, progress.length));
}

} // namespace wiring

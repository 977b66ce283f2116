#include "PrintingFrontEnd.h"

#include "basApp.h"

#include <algorithm>
#include <cstdio>

namespace program {

namespace {

void PrintTo(std::FILE* file, std::string_view line) {
    std::fwrite(line.data(), 1, line.size(), file);
    std::fputc('\n', file);
    std::fflush(file);
}

} // namespace

std::string PrintingFrontEnd::MessageLine(std::string_view message, std::int32_t level) {
    std::string line = fmt::format("{:<7} {}", basDebug::GetLevelName(level), message);
    std::replace_if(
        line.begin(), line.end(), [](char c) { return c == '\r' || c == '\n'; }, ' ');
    return line;
}

void PrintingFrontEnd::EchoMessage(std::string_view message, std::int32_t level) {
    Print(MessageLine(message, level));
}

void PrintingFrontEnd::ShowStoreNotice(const std::string& text) {
    if (!text.empty())
        PrintError(fmt::format("{}: {}", basApp::TITLE, text));
}

void PrintingFrontEnd::Print(std::string_view line) {
    PrintTo(stdout, line);
}

void PrintingFrontEnd::PrintError(std::string_view line) {
    PrintTo(stderr, line);
}

void PrintingFrontEnd::ShowProgress(const basApp::LoadProgress& progress) {
    if (!basApp::globals.PerformUnattendedOperations)
        return;
    const std::int64_t twentieth = basApp::Twentieth(progress);
    if (progress.step == shownStep_ && twentieth == shownTwentieth_)
        return;
    shownStep_ = progress.step;
    shownTwentieth_ = twentieth;
    Print(fmt::format("progress {} {}/{}", NameOf(progress.step), progress.bytes, progress.length));
}

} // namespace program

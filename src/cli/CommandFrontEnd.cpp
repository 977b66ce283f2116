#include "CommandFrontEnd.h"

#include "bas1394.h"
#include "basDebug.h"

namespace cli {

namespace {

// By --verbose. Without it the verdict says what went wrong.
constexpr std::int32_t LOWEST_LEVELS[] = {LEVEL_FATAL, LEVEL_WARNING, LEVEL_TRACE, LEVEL_DETAIL};

constexpr std::string_view RECORD_TROUBLE = "record: ";            // begins what the recording library says itself
constexpr std::string_view REPLAY_TROUBLE = "replay: the record "; // begins what the library says of it

} // namespace

CommandFrontEnd::CommandFrontEnd(Call& call) : call_(call) {
    MessageLevel = LOWEST_LEVELS[std::min<std::size_t>(static_cast<std::size_t>(std::max(call.options.Verbose, 0)),
                                                       std::size(LOWEST_LEVELS) - 1)];
}

bool CommandFrontEnd::StatusWindowWants(std::size_t slot, std::int32_t level) const {
    return slot == 0 && (level >= MessageLevel || level >= LEVEL_ERROR);
}

void CommandFrontEnd::PostToStatusWindow(std::size_t /*slot*/, std::string_view message, float /*elapsedTime*/,
                                         std::int32_t level, std::string_view module) {
    if (level >= LEVEL_ERROR)
        call_.report.Messages.push_back({level, std::string(module), std::string(message)});
    if (level == LEVEL_ERROR)
        lastTrouble = message;
    if (level >= MessageLevel)
        PrintError(MessageLine(message, level));
}

// A library says why it has no bus; what fails after that is a consequence.
void CommandFrontEnd::AppendDebugSpew(const std::string& text) {
    spew_ += text;
    for (const std::string& line : bas1394::TakeDebugLines(spew_)) {
        if (!bas1394::globals.BusEnumerated)
            libraryTrouble = line;
        if (bas1394::globals.Bus.Kind == bas1394::BusKind::Replay && replayTrouble.empty() &&
            line.starts_with(REPLAY_TROUBLE))
            replayTrouble = line;
        if (!bas1394::globals.Record.File.empty() &&
            line.starts_with(RECORD_TROUBLE)) // whoever asked for it relies on it
            call_.TellAnyway("hoistline: " + Printable(line));
        basDebug::StatusDisplay(line, LEVEL_USER, "Twl1394api.dll");
    }
    const std::size_t end = spew_.rfind("\r\n");
    spew_.erase(0, end == std::string::npos ? 0 : end + 2);
}

void CommandFrontEnd::ShowStoreNotice(const std::string& text) {
    if (!text.empty())
        PrintError("hoistline: " + text);
}

void CommandFrontEnd::PrintError(std::string_view line) {
    call_.Tell(Printable(std::string(line)));
}

void CommandFrontEnd::ShowProgress(const basApp::LoadProgress& progress) {
    call_.progress.Show(progress);
}

void CommandFrontEnd::ResetComplete() {
    if (onResetComplete)
        onResetComplete();
}

void CommandFrontEnd::ShellCharactersLost(std::int32_t handle, std::int32_t count) {
    if (onShellLoss)
        onShellLoss(handle, count);
}

} // namespace cli

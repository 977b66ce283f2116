#include "PlainFrontEnd.h"

#include "StartUp.h"
#include "basApp.h"

namespace program {

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

bool PlainFrontEnd::StatusWindowWants(std::size_t slot, std::int32_t level) const {
    return slot == 0 && level >= MessageLevel;
}

// A run's messages of WATCH and above are on standard output already.
void PlainFrontEnd::PostToStatusWindow(std::size_t /*slot*/, std::string_view message, float /*elapsedTime*/,
                                       std::int32_t level, std::string_view /*module*/) {
    if (level < LEVEL_WATCH || !basApp::globals.PerformUnattendedOperations)
        PrintError(MessageLine(message, level));
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

} // namespace program

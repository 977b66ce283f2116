// The shell window's history, marks and log.

#include "Clock.h"
#include "basBootloader.h"
#include "basUtils.h"
#include "frmShell.h"

#include <fmt/format.h>

#include <algorithm>

namespace {

constexpr const char* MODULE = frmShell::NAME;
constexpr const char* RESTARTED = "device restarted";

} // namespace

BootloaderTarget* frmShell::TargetOf(std::int32_t handle) {
    const std::int32_t index = basBootloader::GetDeviceIndex(handle);
    return index < 0 ? nullptr : &basBootloader::globals.TargetList[std::size_t(index)];
}

void frmShell::ShowHistory(const ShellStore& store) {
    const std::vector<ByteArray> pieces = store.History();
    std::uint64_t at = store.Printed;
    for (const ByteArray& piece : pieces)
        at -= piece.size();
    auto mark = std::find_if(store.Marks.begin(), store.Marks.end(), [at](const ShellMark& m) { return m.At >= at; });
    for (const ByteArray& piece : pieces) {
        std::ptrdiff_t shown = 0;
        for (; mark != store.Marks.end() && mark->At < at + piece.size(); ++mark) {
            const auto end = std::ptrdiff_t(mark->At - at);
            txtShell->ShowOutput({piece.begin() + shown, piece.begin() + end});
            txtShell->ShowMark(mark->Text, mark->StartsOver);
            shown = end;
        }
        txtShell->ShowOutput({piece.begin() + shown, piece.end()});
        at += piece.size();
    }
    for (; mark != store.Marks.end(); ++mark)
        txtShell->ShowMark(mark->Text, mark->StartsOver);
}

// Not repeated if nothing was printed since the last one: a restart alone may cause several bus resets.
void frmShell::Mark(const std::string& what, bool startsOver) {
    BootloaderTarget* target = TargetOf(currentHandle_);
    if (target == nullptr)
        return;
    ShellStore& store = target->Shell;
    const bool again = !store.Marks.empty() && store.Marks.back().At == store.Printed &&
                       store.Marks.back().Text.starts_with(what + ",");
    if (again)
        return;
    if (startsOver)
        ToLog([&](ShellLog& log) { log.Mark(what); });
    store.AddMark(fmt::format("{}, {}", what, basUtils::FormatSystemTime(platform::GetLocalTime(), "hh:nn:ss")),
                  startsOver);
    txtShell->ShowMark(store.Marks.back().Text, startsOver);
}

void frmShell::BusWasReset() {
    ToLog([](ShellLog& log) { log.Mark("bus reset"); });
    ShowTargets();
    const BootloaderTarget* target = TargetOf(currentHandle_);
    if (target == nullptr)
        return;
    const bool isAbsent = target->Device.NodeNum > LAST_NODE;
    const bool restarted = !isAbsent && (absent_ || bootloader_ != (target->Info.BootloaderVersion != 0));
    absent_ = isAbsent;
    if (isAbsent)
        return;
    bootloader_ = target->Info.BootloaderVersion != 0;
    Mark(restarted ? RESTARTED : "bus reset", restarted);
}

void frmShell::CharactersLost(std::int32_t count) {
    const std::string what = fmt::format("{} characters lost", count);
    ToLog([&](ShellLog& log) { log.Mark(what); });
    Mark(what, false);
}

void frmShell::ToLog(const std::function<void(ShellLog&)>& step) {
    if (!log_)
        return;
    const auto stop = [this](const platform::Failure& f) {
        basDebug::Display(MODULE, LEVEL_ERROR, "The terminal's log '{}' ends here: {}", log_->path(), f.Description);
        log_.reset();
        mnuLogToFile->setChecked(false);
    };
    platform::Attempt([&] { step(*log_); }, stop);
}

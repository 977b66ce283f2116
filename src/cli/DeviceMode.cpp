#include "DeviceMode.h"

#include "Clock.h"
#include "CommandFrontEnd.h"
#include "DeviceChoice.h"
#include "EndRequest.h"
#include "OneTarget.h"
#include "WindowSystem.h"
#include "bas1394.h"
#include "basBootloader.h"

#include <functional>
#include <tuple>
#include <utility>

namespace cli {

namespace {

constexpr std::int64_t TIME_TO_SETTLE = 4'000;  // ms: a device that is there then stays in its mode
constexpr std::int64_t TIME_TO_RETURN = 15'000; // ms, for one that is away longer
constexpr std::int32_t BAD_CRC = -1;

// A device that a command sends off the bus. To be made just before the command, on a settled bus.
class Journey {
public:
    Journey(Call& call, std::int32_t handle)
        : call_(call), handle_(handle), othersWatch_(std::exchange(call.frontEnd->onResetComplete, [this] {
              readAnew_ = true;
              if (othersWatch_)
                  othersWatch_();
          })) {}
    ~Journey() { call_.frontEnd->onResetComplete = std::move(othersWatch_); }
    Journey(const Journey&) = delete;
    Journey& operator=(const Journey&) = delete;

    // Waits for it, and notes its mode: what was known before the command is out of date.
    bool EndsIn(bool bootloader) const {
        if (!call_.Wait([&] { return IsBackIn(bootloader); }, TIME_TO_SETTLE) && !IsThere()) {
            ReadBusAgain();
            std::ignore = call_.Wait([this] { return IsThere(); }, TIME_TO_RETURN - TIME_TO_SETTLE);
        }
        const bool back = IsBackIn(bootloader);
        NoteDevice(call_, handle_);
        if (!back && (!IsThere() || platform::EndRequested()))
            call_.report.Device->Mode = "unknown";
        return back;
    }

private:
    // One failed read of its ROM hides a device until the next reset.
    static void ReadBusAgain() {
        bas1394::globals.BusResetPending = true;
        bas1394::globals.BusEnumerated = false;
    }
    bool IsThere() const {
        const BootloaderTarget* target = TargetOf(handle_);
        return BusIsKnown() && target != nullptr && IsPresent(*target);
    }
    bool IsBackIn(bool bootloader) const {
        return readAnew_ && IsThere() && RunsBootloader(*TargetOf(handle_)) == bootloader;
    }

    Call& call_;
    std::int32_t handle_;
    bool readAnew_ = false;
    std::function<void()> othersWatch_;
};

bool IsInBootloader(std::int32_t handle) {
    const BootloaderTarget* target = TargetOf(handle);
    return target != nullptr && RunsBootloader(*target);
}

bool IsOnBus(std::int32_t handle) {
    const BootloaderTarget* target = TargetOf(handle);
    return target != nullptr && IsPresent(*target);
}

// A reset isn't answered: the device's return proves it.
bool ResetOnce(Call& call, std::int32_t handle, bool bootloader) {
    if (!SettleBus(call))
        return false;
    const Journey journey(call, handle);
    std::ignore = basBootloader::ResetDevice(handle, bootloader ? basBootloader::RESET_INTO_BOOTLOADER
                                                                : basBootloader::RESET_INTO_APPLICATION);
    return journey.EndsIn(bootloader);
}

std::string NotUp(std::int32_t handle, bool bootloader) {
    const char* where = !IsOnBus(handle)         ? "It isn't on the bus."
                        : IsInBootloader(handle) ? "It runs its bootloader."
                                                 : "It runs its application.";
    return fmt::format("The device doesn't come up in its {}.  {}", bootloader ? "bootloader" : "application", where);
}

// Starts the application once. Why it doesn't run then; empty when it does.
std::string StartOnce(Call& call, std::int32_t handle) {
    if (!SettleBus(call)) {
        NoteDevice(call, handle);
        if (!BusIsKnown())
            call.report.Device->Mode = "unknown";
        return "No start of the application was sent.";
    }
    const Journey journey(call, handle);
    std::int32_t crcFlag = 0;
    const std::int32_t code = basBootloader::StartImage(handle, basBootloader::IMAGE_APPLICATION, crcFlag);
    if (code == basBootloader::SUCCESS && crcFlag == BAD_CRC)
        return "The device doesn't start its application: it isn't good.";
    return journey.EndsIn(false) ? "" : NotUp(handle, false);
}

// The same, again for a device that is still in its bootloader: a request can be lost.
std::string StartFault(Call& call, std::int32_t handle) {
    constexpr int ATTEMPTS = 3;
    std::string fault = StartOnce(call, handle);
    for (int attempt = 1; attempt < ATTEMPTS && !fault.empty(); ++attempt) {
        if (!IsInBootloader(handle) || platform::EndRequested())
            break;
        fault = StartOnce(call, handle);
    }
    return fault;
}

} // namespace

Step& NoteStep(Call& call, std::int32_t handle, std::string operation, Verdict outcome, std::string reason,
               std::int64_t start) {
    Step& step = call.report.Steps.emplace_back();
    step.Operation = std::move(operation);
    if (const BootloaderTarget* target = TargetOf(handle))
        step.Guid = GuidText(target->Info.GUID);
    step.Outcome = outcome;
    step.Reason = std::move(reason);
    if (start != 0)
        step.Seconds = static_cast<double>(platform::QueryPerformanceCounter() - start) / 1e9;
    return step;
}

Verdict OutcomeOfEnd(Verdict otherwise) {
    return platform::EndRequested() ? VerdictOf(basApp::OutcomeKind::Interrupted) : otherwise;
}

bool HasLock(Call& call, const basBootloader::DeviceLock& lock) {
    return lock.Taken() || call.End(Verdict::Unchanged, lock.Trouble());
}

bool BusIsKnown() {
    return bas1394::globals.BusEnumerated && !bas1394::globals.BusResetPending;
}

bool SettleBus(Call& call) {
    platform::DoEvents();
    return call.Wait(BusIsKnown, TIME_TO_RETURN);
}

bool EnterBootloader(Call& call, std::int32_t handle) {
    if (IsInBootloader(handle))
        return true;
    call.Tell("The device runs its application; it is reset into its bootloader ...");
    const std::int64_t start = platform::QueryPerformanceCounter();
    bool entered = false;
    // A request can be lost, and a device can come up in its application.
    for (std::int32_t attempt = 0; attempt < basAutomation::MAX_RESETS && !entered && !call.MustEnd(); ++attempt) {
        if (attempt > 0 && !IsOnBus(handle))
            break;
        entered = ResetOnce(call, handle, true);
    }
    const std::string reason = entered ? "" : NotUp(handle, true);
    NoteStep(call, handle, "reset", entered ? Verdict::Done : OutcomeOfEnd(Verdict::Unchanged), reason, start);
    return entered || call.End(Verdict::Unchanged, reason);
}

bool EnterBootloaderIf(bool mayReset, Call& call, std::int32_t handle) {
    if (mayReset || IsInBootloader(handle))
        return EnterBootloader(call, handle);
    return call.End(Verdict::Unchanged,
                    "The device runs its application and answers only in its bootloader.  With "
                    "--reset it is reset into it, and its application is started again afterwards.");
}

bool StartApplication(Call& call, std::int32_t handle) {
    const std::int64_t start = platform::QueryPerformanceCounter();
    const std::string fault = StartFault(call, handle);
    const bool runs = fault.empty();
    NoteStep(call, handle, "start", runs ? Verdict::Done : OutcomeOfEnd(Verdict::Failed), fault, start);
    if (!runs && call.Ended()) // the verdict's reason is another
        call.Tell(fault);
    return runs || call.End(Verdict::Failed, fault);
}

void StartAgain(Call& call, std::int32_t handle) {
    if (!platform::EndRequested())
        std::ignore = StartApplication(call, handle);
    else
        call.MustEnd(); // not done, since its application doesn't run
}

void InBootloader(Call& call, std::int32_t& handle, bool mayReset, const std::function<void()>& work) {
    const bool ranApplication = !IsInBootloader(handle);
    const basBootloader::DeviceLock lock(handle);
    if (!HasLock(call, lock) || !EnterBootloaderIf(mayReset, call, handle))
        return;
    work();
    NoteDevice(call, handle);
    if (ranApplication)
        StartAgain(call, handle);
}

bool ResetInto(Call& call, std::int32_t handle, bool bootloader) {
    const std::int64_t start = platform::QueryPerformanceCounter();
    const bool done = ResetOnce(call, handle, bootloader);
    const std::string reason = done ? "" : NotUp(handle, bootloader);
    NoteStep(call, handle, "reset", done ? Verdict::Done : OutcomeOfEnd(Verdict::Failed), reason, start);
    return done || call.End(Verdict::Failed, reason);
}

} // namespace cli

#include "DeviceMode.h"

#include "BusSession.h"
#include "Clock.h"
#include "DeviceLock.h"
#include "EndRequest.h"
#include "WindowSystem.h"
#include "bas1394.h"
#include "basBootloader.h"

#include <tuple>
#include <utility>

namespace cli {

namespace {

bool BusIsKnown() {
    return bas1394::globals.BusEnumerated && !bas1394::globals.BusResetPending;
}

constexpr int ATTEMPTS = 3;                     // a request can be lost, and a device can come up in its application
constexpr std::int64_t TIME_TO_RETURN = 10'000; // ms, for each attempt
constexpr std::int32_t BAD_CRC = -1;

bool WaitForMode(Call& call, std::int32_t handle, bool bootloader) {
    return call.Wait(
        [&] {
            const BootloaderTarget* target = TargetOf(handle);
            return BusIsKnown() && target != nullptr && IsPresent(*target) && RunsBootloader(*target) == bootloader;
        },
        TIME_TO_RETURN);
}

bool IsInBootloader(std::int32_t handle) {
    const BootloaderTarget* target = TargetOf(handle);
    return target != nullptr && RunsBootloader(*target);
}

std::string WhereItIs(std::int32_t handle) {
    const BootloaderTarget* target = TargetOf(handle);
    return target != nullptr && IsPresent(*target) ? "It runs its application." : "It isn't on the bus.";
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
    switch (platform::WhyEndRequested()) {
    case platform::EndReason::Signal:
        return Verdict::Interrupted;
    case platform::EndReason::TimeLimit:
        return Verdict::TimedOut;
    case platform::EndReason::None:
        break;
    }
    return otherwise;
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
    for (int attempt = 0; attempt < ATTEMPTS && !entered && !call.MustEnd(); ++attempt) {
        if (!SettleBus(call))
            continue;
        std::ignore = basBootloader::ResetDevice(handle, basBootloader::RESET_INTO_BOOTLOADER); // need not be answered
        entered = WaitForMode(call, handle, true);
    }
    NoteDevice(call, handle);
    const std::string reason = entered ? "" : "The device doesn't come up in its bootloader.  " + WhereItIs(handle);
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
    std::int32_t code = basBootloader::FAILED, crcFlag = 0;
    if (SettleBus(call))
        code = basBootloader::StartImage(handle, basBootloader::IMAGE_APPLICATION, crcFlag);
    const bool refused = code == basBootloader::SUCCESS && crcFlag == BAD_CRC;
    const bool runs = !refused && WaitForMode(call, handle, false);
    NoteDevice(call, handle);
    const std::string reason = runs      ? ""
                               : refused ? "The device doesn't start its application: it isn't good."
                                         : "The device doesn't come up in its application.";
    NoteStep(call, handle, "start", runs ? Verdict::Done : OutcomeOfEnd(Verdict::Failed), reason, start);
    return runs || call.End(Verdict::Failed, reason);
}

void StartAgain(Call& call, std::int32_t handle) {
    if (platform::WhyEndRequested() == platform::EndReason::None)
        std::ignore = StartApplication(call, handle);
}

void InBootloader(Call& call, std::int32_t& handle, bool mayReset, const std::function<void()>& work) {
    const bool ranApplication = !IsInBootloader(handle);
    const basBootloader::DeviceLock lock(handle);
    if (!lock.Taken()) {
        call.End(Verdict::Unchanged, lock.Trouble());
        return;
    }
    if (!EnterBootloaderIf(mayReset, call, handle))
        return;
    work();
    NoteDevice(call, handle);
    if (ranApplication)
        StartAgain(call, handle);
}

} // namespace cli

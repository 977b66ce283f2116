#include "OneTarget.h"

#include "Clock.h"
#include "Paths.h"
#include "WindowSystem.h"
#include "bas1394.h"
#include "basAutomation.h"
#include "basBootloader.h"
#include "basUtils.h"

#include <algorithm>
#include <array>
#include <utility>

namespace basAutomation {

namespace {

bool Compatible(const BootloaderTarget& target) {
    return target.Device.NodeNum != NO_NODE && target.Handle > 0;
}

std::string GuidDigits(const std::array<std::uint8_t, 8>& guid) {
    return basUtils::ByteArrayToHexString(guid.data(), guid.size(), 8);
}

std::int32_t CountTargets(const std::string& matchGuid, std::int32_t& handle, std::int32_t& bootloaderVersion) {
    std::int32_t count = 0;
    for (const BootloaderTarget& target : basBootloader::globals.TargetList) {
        if (!Compatible(target))
            continue;
        handle = target.Handle;
        bootloaderVersion = target.Info.BootloaderVersion;
        if (matchGuid.empty())
            ++count;
        else if (GuidDigits(target.Info.GUID) == matchGuid)
            return 1;
    }
    return count;
}

// Nodes of the last discovery that the choice could mean. Nodes with the same GUID, or without one, may
// share one record of the list, so its length isn't the number of devices.
std::int32_t NodesMeant(const std::string& matchGuid) {
    return static_cast<std::int32_t>(
        std::ranges::count_if(basBootloader::globals.CompatibleNodes, [&](const CompatibleNode& node) {
            return matchGuid.empty() || GuidDigits(node.GUID) == matchGuid;
        }));
}

// Gives the window system turns until no bus reset is pending: after one the node numbers at hand may be those of
// other devices. False when it stays pending.
bool BusIsKnown() {
    constexpr std::int32_t MOST_TURNS = 500;
    constexpr std::uint32_t PAUSE = 20; // ms
    platform::DoEvents();
    for (std::int32_t turn = 0; bas1394::globals.BusResetPending && turn < MOST_TURNS; ++turn) {
        platform::Sleep(PAUSE);
        platform::DoEvents();
    }
    return !bas1394::globals.BusResetPending;
}

} // namespace

std::int32_t GetNumCompatibleTargets(const std::string& matchGuid, std::int32_t& handle,
                                     std::int32_t& bootloaderVersion) {
    std::int32_t count = 0;
    platform::Attempt([&] { count = CountTargets(matchGuid, handle, bootloaderVersion); },
                      LogFailure("GetNumCompatibleTargets"));
    return count;
}

basApp::StepVerdict& NoteStep(basApp::RunVerdict& verdict, basApp::OperationKind operation, std::int32_t handle,
                              std::int32_t code, std::string reason) {
    basApp::StepVerdict& step = verdict.Steps.emplace_back();
    const bool done = code == basBootloader::SUCCESS;
    step.Operation = operation;
    step.Handle = handle;
    if (const std::int32_t index = basBootloader::GetDeviceIndex(handle); index >= 0)
        step.Guid = basBootloader::globals.TargetList[static_cast<std::size_t>(index)].Info.GUID;
    step.Result = code;
    step.Outcome = done ? basApp::OutcomeKind::Done : basApp::OutcomeKind::Failed;
    if (!done)
        step.Reason = std::move(reason);
    return step;
}

void NoteUnansweredStep(basApp::RunVerdict& verdict, basApp::OperationKind operation, std::int32_t handle,
                        std::int32_t code, std::string reason) {
    basApp::StepVerdict& step = NoteStep(verdict, operation, handle, code, std::move(reason));
    if (step.Outcome != basApp::OutcomeKind::Done)
        step.Outcome = basApp::OutcomeKind::Unconfirmed;
}

TargetChoice ChooseTarget(const std::string& caller, const std::string& matchGuid, std::int32_t& handle,
                          std::int32_t& bootloaderVersion, basApp::RunVerdict& verdict) {
    std::int32_t count = GetNumCompatibleTargets(matchGuid, handle, bootloaderVersion);
    if (count > 0)
        count = std::max(count, NodesMeant(matchGuid));
    if (count == 1)
        return TargetChoice::One;
    const auto refuse = [&](TargetChoice choice, const std::string& text) {
        StatusDisplay(LEVEL_ERROR, "{}", text);
        verdict.End(choice == TargetChoice::Several ? basApp::OutcomeKind::Ambiguous : basApp::OutcomeKind::NoDevice,
                    text);
        return choice;
    };
    if (count < 1 && !matchGuid.empty()) {
        return refuse(TargetChoice::NoMatch, fmt::format("{}: failed to find a match for device '{}' on the bus.  "
                                                         "Exiting without performing operations!",
                                                         caller, matchGuid));
    }
    // Only WriteGuid names itself in these two.
    const char* beginning = caller == "WriteGuid" ? "WriteGuid: there are" : "There are";
    if (count < 1) {
        return refuse(TargetChoice::None,
                      fmt::format("{} no targets on the 1394 bus that are compatible with firmware downloading from "
                                  "this application.",
                                  beginning));
    }
    return refuse(TargetChoice::Several,
                  fmt::format("{} {} targets on the 1394 bus that are compatible with firmware downloading from this "
                              "application.  Cannot proceed.",
                              beginning, count));
}

void ResetIntoBootloader(std::int32_t handle, basApp::RunVerdict& verdict) {
    StatusDisplay(LEVEL_USER, "The device is running in application mode.  Resetting the device to bootloader mode and "
                              "re-starting the process...");
    const std::int32_t code = basBootloader::ResetDevice(handle, basBootloader::RESET_INTO_BOOTLOADER);
    NoteUnansweredStep(verdict, basApp::OperationKind::Reset, handle, code,
                       fmt::format("ResetDevice returned code {}.", code));
}

bool SetUpPersistentParams(std::int32_t handle, basApp::RunVerdict& verdict) {
    const std::int32_t code = basBootloader::InitializePersistentParams(handle);
    const std::string text = fmt::format(
        "mnuInitializePersistentParameters failure: InitializePersistentParams call failed, code {} (0x{:X})", code,
        Bits(code));
    NoteUnansweredStep(verdict, basApp::OperationKind::InitializeParameters, handle, code, text);
    if (code == basBootloader::SUCCESS) {
        StatusDisplay(LEVEL_USER, "Successfully Initialized the Persistent Parameters.");
        return true;
    }
    StatusDisplay(LEVEL_ERROR, "{}", text);
    StatusDisplay(LEVEL_ERROR, "mnuInitializePersistentParameters: continuing anyway - failure was likely due to only "
                               "a failed response from the bootloader");
    return false;
}

void StartApplication(std::int32_t handle, basApp::RunVerdict& verdict) {
    std::int32_t crcFlag = 0;
    const std::int32_t code = basBootloader::StartImage(handle, basBootloader::IMAGE_APPLICATION, crcFlag);
    const std::string text = fmt::format(
        "mnuStartApplication failure: StartApplication call failed, code {}, CRC flag={} (0x{:X}).  This could "
        "be expected; the bootloader cannot response if it has launched the application image.",
        code, crcFlag, Bits(crcFlag));
    NoteUnansweredStep(verdict, basApp::OperationKind::StartApplication, handle, code, text);
    if (code != basBootloader::SUCCESS)
        StatusDisplay(LEVEL_WARNING, "{}", text);
}

std::int32_t OnKnownBus(const char* caller, const std::function<std::int32_t()>& exchange) {
    constexpr int MOST_ATTEMPTS = 3;
    std::int32_t code = basBootloader::FAILED;
    for (int attempt = 0; attempt < MOST_ATTEMPTS && BusIsKnown(); ++attempt) {
        const std::int32_t generation = bas1394::globals.TopologyMap.Generation;
        code = exchange();
        if (code != basBootloader::SUCCESS)
            return code;
        if (BusIsKnown() && bas1394::globals.TopologyMap.Generation == generation)
            return code;
        code = bas1394::RESULT_BUS_RESET;
        StatusDisplay(LEVEL_WARNING, "{}: the bus was reset during the operation.", caller);
    }
    StatusDisplay(LEVEL_ERROR, "{}: bus resets kept the operation from being carried out.", caller);
    return code;
}

std::string FaultOfFile(const platform::FileName& file) {
    std::string fault;
    if (!basApp::FileExists(std::as_const(file.Typed)))
        fault = fmt::format("ERROR: \"{}\" does not exist.  Can't perform operation!", file);
    else if (const std::vector<std::string> meant = platform::PathsMeant(file.Typed); meant.size() != 1)
        fault =
            fmt::format("ERROR: \"{}\" could be any of {}.  Can't perform operation!", file, platform::Quoted(meant));
    if (!fault.empty())
        StatusDisplay(LEVEL_ERROR, "{}", fault);
    return fault;
}

} // namespace basAutomation

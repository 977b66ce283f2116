#include "OneTarget.h"

#include "Paths.h"
#include "RunFailures.h"
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

// Nodes of the last discovery that the choice could mean. Those that share a GUID, or have none, may
// share one record of the list, so that its records alone don't tell how many devices there are.
std::int32_t NodesMeant(const std::string& matchGuid) {
    return static_cast<std::int32_t>(
        std::ranges::count_if(basBootloader::globals.CompatibleGuids,
                              [&](const auto& guid) { return matchGuid.empty() || GuidDigits(guid) == matchGuid; }));
}

} // namespace

std::int32_t GetNumCompatibleTargets(const std::string& matchGuid, std::int32_t& handle,
                                     std::int32_t& bootloaderVersion) {
    std::int32_t count = 0;
    platform::Attempt([&] { count = CountTargets(matchGuid, handle, bootloaderVersion); },
                      Reporter("GetNumCompatibleTargets"));
    return count;
}

TargetChoice ChooseTarget(const std::string& caller, const std::string& matchGuid, std::int32_t& handle,
                          std::int32_t& bootloaderVersion) {
    std::int32_t count = GetNumCompatibleTargets(matchGuid, handle, bootloaderVersion);
    if (count > 0)
        count = std::max(count, NodesMeant(matchGuid));
    if (count == 1)
        return TargetChoice::One;
    if (count < 1 && !matchGuid.empty()) {
        StatusDisplay(LEVEL_ERROR,
                      "{}: failed to find a match for device '{}' on the bus.  Exiting without performing operations!",
                      caller, matchGuid);
        return TargetChoice::NoMatch;
    }
    // Only WriteGuid names itself in these two.
    const bool named = caller == "WriteGuid";
    if (count < 1) {
        StatusDisplay(LEVEL_ERROR,
                      "{} no targets on the 1394 bus that are compatible with firmware downloading from this "
                      "application.",
                      named ? "WriteGuid: there are" : "There are");
    } else {
        StatusDisplay(LEVEL_ERROR,
                      "{} {} targets on the 1394 bus that are compatible with firmware downloading from this "
                      "application.  Cannot proceed.",
                      named ? "WriteGuid: there are" : "There are", count);
    }
    return TargetChoice::NotOne;
}

void ResetIntoBootloader(std::int32_t handle) {
    StatusDisplay(LEVEL_USER, "The device is running in application mode.  Resetting the device to bootloader mode and "
                              "re-starting the process...");
    basBootloader::ResetDevice(handle, basBootloader::RESET_INTO_BOOTLOADER);
}

bool SetUpPersistentParams(std::int32_t handle) {
    const std::int32_t code = basBootloader::InitializePersistentParams(handle);
    if (code == basBootloader::SUCCESS) {
        StatusDisplay(LEVEL_USER, "Successfully Initialized the Persistent Parameters.");
        return true;
    }
    StatusDisplay(LEVEL_ERROR,
                  "mnuInitializePersistentParameters failure: InitializePersistentParams call failed, code {} (0x{:X})",
                  code, static_cast<std::uint32_t>(code));
    StatusDisplay(LEVEL_ERROR, "mnuInitializePersistentParameters: continuing anyway - failure was likely due to only "
                               "a failed response from the bootloader");
    return false;
}

void StartApplication(std::int32_t handle) {
    std::int32_t crcFlag = 0;
    const std::int32_t code = basBootloader::StartImage(handle, basBootloader::IMAGE_APPLICATION, crcFlag);
    if (code == basBootloader::SUCCESS)
        return;
    StatusDisplay(
        LEVEL_WARNING,
        "mnuStartApplication failure: StartApplication call failed, code {}, CRC flag={} (0x{:X}).  This could "
        "be expected; the bootloader cannot response if it has launched the application image.",
        code, crcFlag, static_cast<std::uint32_t>(crcFlag));
}

bool CheckFile(const platform::FileName& file) {
    if (!basApp::FileExists(std::as_const(file.Typed))) {
        StatusDisplay(LEVEL_ERROR, "ERROR: \"{}\" does not exist.  Can't perform operation!", file);
        return false;
    }
    const std::vector<std::string> meant = platform::PathsMeant(file.Typed);
    if (meant.size() == 1)
        return true;
    StatusDisplay(LEVEL_ERROR, "ERROR: \"{}\" could be any of {}.  Can't perform operation!", file,
                  platform::Quoted(meant));
    return false;
}

} // namespace basAutomation

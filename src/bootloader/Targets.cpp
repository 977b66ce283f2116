// Handles, and the look-ups through which the layers above reach a target. Plain walks over the list:
// only the parsing of a handle given as text can fail.
#include "CodePage.h"
#include "basBootloader.h"

#include <algorithm>

namespace basBootloader {

namespace {

constexpr std::int32_t FIRST_HANDLE = 63; // one above the highest node number

std::int32_t NewHandle() {
    if (globals.NextHandle < 1)
        globals.NextHandle = FIRST_HANDLE;
    return globals.NextHandle++;
}

} // namespace

std::int32_t OpenBootloaderDevice(const Device& device) {
    if (device.NodeNum == NO_NODE) // would match an absent target, or the empty first record
        return INVALID_HANDLE_ERROR;
    for (BootloaderTarget& target : globals.TargetList)
        if (target.Device.Driver == device.Driver && target.Device.NodeNum == device.NodeNum) {
            if (target.Handle <= 0)
                target.Handle = NewHandle();
            return target.Handle;
        }
    return INVALID_HANDLE_ERROR;
}

// A target stays open as long as it exists.
std::int32_t CloseBootloaderDevice(std::int32_t handle) {
    StatusDisplay(LEVEL_TRACE, "CloseBootloaderDevice: this function is not completely implemented.");
    return handle > 0 ? SUCCESS : FAILED;
}

const Device& GetNodeNum(std::int32_t handle) {
    const std::int32_t index = GetDeviceIndex(handle);
    return index < 0 ? bas1394::globals.NullDevice : globals.TargetList[static_cast<std::size_t>(index)].Device;
}

std::int32_t GetDeviceHandle(const Device& device) {
    const auto found = std::ranges::find_if(
        globals.TargetList, [&](const BootloaderTarget& target) { return target.Device.NodeNum == device.NodeNum; });
    return found == globals.TargetList.end() ? 0 : found->Handle;
}

std::int32_t GetDeviceHandleFromGuid(const std::array<std::uint8_t, 8>& guid,
                                     const std::optional<std::string>& excludeHandle) {
    std::int32_t handle = 0;
    platform::ResultOf(
        [&] {
            const std::int32_t excluded = excludeHandle ? platform::NumberFromText(*excludeHandle) : 0;
            const auto found = std::ranges::find_if(globals.TargetList, [&](const BootloaderTarget& target) {
                return target.Info.GUID == guid && !(excludeHandle && target.Handle == excluded);
            });
            handle = found == globals.TargetList.end() ? 0 : found->Handle;
            return SUCCESS;
        },
        LogFailure("GetDeviceHandleFromGuid"));
    return handle;
}

std::int32_t GetDeviceIndex(std::int32_t handle) {
    if (handle <= 0) // no target at all, or a record without a handle yet
        return -1;
    const auto found = std::ranges::find(globals.TargetList, handle, &BootloaderTarget::Handle);
    return found == globals.TargetList.end() ? -1 : static_cast<std::int32_t>(found - globals.TargetList.begin());
}

} // namespace basBootloader

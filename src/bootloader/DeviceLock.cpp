#include "DeviceLock.h"

#include "basBootloader.h"
#include "basUtils.h"

#include <algorithm>

namespace basBootloader {

namespace {

constexpr const char* LOCK_NAME = "HoistlineDevices";
constexpr std::uint64_t OFFSETS = 0x7FFFFFFFFFFFFFFF; // bytes that a file can have

// Every GUID has a byte of one file, so that no lock files pile up.
std::int64_t ByteOf(const DeviceGuid& guid) {
    std::uint64_t number = 0;
    for (const std::uint8_t byte : guid)
        number = number << 8 | byte;
    return static_cast<std::int64_t>(number & OFFSETS);
}

const std::shared_ptr<platform::LockFile>& TheLocks() {
    if (!globals.DeviceLocks)
        globals.DeviceLocks = std::make_shared<platform::LockFile>(LOCK_NAME);
    return globals.DeviceLocks;
}

std::shared_ptr<HeldDevice> Held(const DeviceGuid& guid) {
    for (const std::weak_ptr<HeldDevice>& device : globals.HeldDevices)
        if (std::shared_ptr<HeldDevice> held = device.lock(); held && held->Has(guid))
            return held;
    return nullptr;
}

// null when no target has the handle.
const DeviceGuid* GuidOf(std::int32_t handle) {
    const std::int32_t index = GetDeviceIndex(handle);
    return index < 0 ? nullptr : &globals.TargetList[static_cast<std::size_t>(index)].Info.GUID;
}

std::string WhyNotTaken(std::int32_t handle) {
    const std::string& trouble = TheLocks()->Trouble();
    return trouble.empty() ? LoadedByAnotherText(handle) : fmt::format("The device can't be locked: {}.", trouble);
}

} // namespace

HeldDevice::~HeldDevice() {
    for (const DeviceGuid& guid : guids_)
        file_->Unlock(ByteOf(guid));
}

bool HeldDevice::Add(const DeviceGuid& guid) {
    if (!file_->Lock(ByteOf(guid)))
        return false;
    guids_.push_back(guid);
    return true;
}

bool HeldDevice::Has(const DeviceGuid& guid) const {
    return std::ranges::count(guids_, guid) > 0;
}

DeviceLock::DeviceLock(std::int32_t handle) {
    const DeviceGuid* guid = GuidOf(handle);
    if (guid == nullptr)
        return; // nothing can be sent to it
    held_ = Held(*guid);
    if (held_)
        return;
    held_ = std::make_shared<HeldDevice>(TheLocks());
    if (!held_->Add(*guid)) {
        trouble_ = WhyNotTaken(handle);
        return;
    }
    std::erase_if(globals.HeldDevices, [](const auto& device) { return device.expired(); });
    globals.HeldDevices.push_back(held_);
}

bool AnyLoadedByAnother() {
    return TheLocks()->OthersHave(0, 0);
}

std::string AnyLoadedByAnotherText() {
    return "A device is being loaded by another program.";
}

bool LoadedByAnother(std::int32_t handle) {
    if (handle == 0)
        return AnyLoadedByAnother();
    const DeviceGuid* guid = GuidOf(handle);
    return guid != nullptr && TheLocks()->OthersHave(ByteOf(*guid));
}

std::string LoadedByAnotherText(std::int32_t handle) {
    const DeviceGuid* guid = GuidOf(handle);
    return guid == nullptr ? AnyLoadedByAnotherText()
                           : fmt::format("The device {} is being loaded by another program.",
                                         basUtils::ByteArrayToHexString(guid->data(), guid->size(), 8));
}

bool KeepLockOver(std::int32_t handle, const DeviceGuid& newGuid) {
    const DeviceGuid* guid = GuidOf(handle);
    const std::shared_ptr<HeldDevice> held = guid == nullptr ? nullptr : Held(*guid);
    return !held || held->Has(newGuid) || held->Add(newGuid);
}

} // namespace basBootloader

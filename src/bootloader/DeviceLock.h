// Keeps a device to one process while it is loaded. The Transaction mutex guards one exchange only; between two
// exchanges of a load another process could reset the device, or begin a load of its own. The locks are known by the
// device's GUID, whatever bus it is on.
#pragma once

#include "LockFile.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace basBootloader {

using DeviceGuid = std::array<std::uint8_t, 8>;

// What this process has locked of one device: its GUID, and the one that it was given meanwhile.
class HeldDevice {
public:
    explicit HeldDevice(std::shared_ptr<platform::LockFile> file) : file_(std::move(file)) {}
    ~HeldDevice();
    HeldDevice(const HeldDevice&) = delete;
    HeldDevice& operator=(const HeldDevice&) = delete;

    [[nodiscard]] bool Add(const DeviceGuid& guid); // false when another process has it
    bool Has(const DeviceGuid& guid) const;

private:
    std::shared_ptr<platform::LockFile> file_;
    std::vector<DeviceGuid> guids_;
};

// Holds the lock from its construction, which doesn't wait, to its end. Several of one process can hold it together: a
// run holds it over all its steps, and each load in it does so too.
class DeviceLock {
public:
    explicit DeviceLock(std::int32_t handle);

    bool Taken() const { return trouble_.empty(); }
    // Why it isn't taken, as one sentence.
    const std::string& Trouble() const { return trouble_; }

private:
    std::shared_ptr<HeldDevice> held_;
    std::string trouble_;
};

// While another process loads a target nothing may be sent to it; its registers may be read. Under handle 0, that of a
// request to all nodes, the answer is AnyLoadedByAnother's.
[[nodiscard]] bool LoadedByAnother(std::int32_t handle);
std::string LoadedByAnotherText(std::int32_t handle); // one sentence
// The same of any device, in the list or not.
[[nodiscard]] bool AnyLoadedByAnother();
std::string AnyLoadedByAnotherText();
// Before the device gets a new GUID: what this process has locked of it stays locked under the new one. False when
// another process loads a device of that GUID.
[[nodiscard]] bool KeepLockOver(std::int32_t handle, const DeviceGuid& newGuid);

} // namespace basBootloader

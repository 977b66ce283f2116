// The store, the bus and the devices, for one call. Each procedure that answers with a bool ends the call with its
// verdict and reason when it answers false.
#pragma once

#include "BootloaderRecords.h"
#include "Call.h"
#include "CommandFrontEnd.h"
#include "Device.h"
#include "WindowSystem.h"

#include <cstdint>
#include <memory>
#include <string>

namespace cli {

// What a call opens; closing is its end.
class BusSession {
public:
    explicit BusSession(Call& call);
    ~BusSession();
    BusSession(const BusSession&) = delete;
    BusSession& operator=(const BusSession&) = delete;

    // Settings and log, without a bus.
    void OpenStore();
    // The store, and the bus read to its end, with its targets found.
    [[nodiscard]] bool OpenBus();

private:
    void StoreLogInBatches();
    bool EndWithoutBus();

    Call& call_;
    CommandFrontEnd frontEnd_;
    std::unique_ptr<platform::Timer> storing_; // of the log's rows
    bool busOpen_ = false;
};

// The one target that the text means: a GUID (16 digits, blanks allowed), "#2" for a node, "" for the only one.
[[nodiscard]] bool ChooseTarget(Call& call, const std::string& text, std::int32_t& handle);
// The same for any node but this computer, hidden ones included. The record is a copy.
[[nodiscard]] bool ChooseNode(Call& call, const std::string& text, Device& node);

// The target's record. Valid until the window system's next turn; null when no target has the handle.
const BootloaderTarget* TargetOf(std::int32_t handle);
bool IsPresent(const BootloaderTarget& target); // on the bus now
bool RunsBootloader(const BootloaderTarget& target);
const char* ModeOf(const BootloaderTarget& target); // "application", "bootloader"; "unknown" when it isn't present
std::string GuidText(const std::array<std::uint8_t, 8>& guid); // 16 digits
// The device of the report, as it is now.
void NoteDevice(Call& call, std::int32_t handle);

} // namespace cli

// Which device a call means, and what is known of it. Each procedure that answers with a bool and takes the call ends
// it with its verdict and reason when it answers false.
#pragma once

#include "BootloaderRecords.h"
#include "Call.h"
#include "Device.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace cli {

// A device's name is a GUID (16 digits, blanks allowed) or "#2" for a node. Why the text is none; empty for a good one.
// A blank text is good: it means the only device.
std::string FaultOfName(const std::string& text);
// Whether it names one device.
bool IsDeviceName(const std::string& text);

// The one target that the text means.
[[nodiscard]] bool ChooseTarget(Call& call, const std::string& text, std::int32_t& handle);
// The same for any node but this computer. Without a name hidden nodes count only when no other is the only one. The
// record is a copy.
[[nodiscard]] bool ChooseNode(Call& call, const std::string& text, Device& node);

// The target's record. Valid until the window system's next turn; null when no target has the handle.
const BootloaderTarget* TargetOf(std::int32_t handle);
bool IsPresent(const BootloaderTarget& target); // on the bus now
bool RunsBootloader(const BootloaderTarget& target);
const char* ModeOf(const BootloaderTarget& target); // "application", "bootloader"; "unknown" when it isn't present
// The device of the report, as it is now: a target, or any node.
void NoteDevice(Call& call, std::int32_t handle);
void NoteNode(Call& call, const Device& node);

// The target at the node, as TargetOf.
const BootloaderTarget* TargetAt(const Device& node);
// What the last discovery found at the node; null when that is no target.
const CompatibleNode* CompatibleAt(int node);
// The nodes that it found with this GUID. Several share one record of the target list, so its handle could mean any.
std::vector<int> NodesWithGuid(const std::array<std::uint8_t, 8>& guid);

} // namespace cli

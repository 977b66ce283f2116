// Brings a device into the mode that a command needs. Each step is noted in the record; a procedure that answers with a
// bool ends the call when it answers false.
#pragma once

#include "Call.h"

#include <cstdint>
#include <string>

namespace cli {

// Adds a step on the device of `handle`. `start` is the performance counter at its beginning; 0: not measured. The
// reference lasts until the next step.
Step& NoteStep(Call& call, std::int32_t handle, std::string operation, Verdict outcome, std::string reason = {},
               std::int64_t start = 0);

// Gives the notice of a bus reset its turn, and waits until the targets are found again: before that, a node number may
// be that of another device. False when they aren't, or when the call must end.
[[nodiscard]] bool SettleBus(Call& call);

// A device that runs its application is reset into its bootloader and waited for. False: it doesn't come up there, and
// the call ends as "unchanged".
[[nodiscard]] bool EnterBootloader(Call& call, std::int32_t handle);
// The same for a command that resets a device only when asked: without `mayReset` it ends as "unchanged" with the hint.
[[nodiscard]] bool EnterBootloaderIf(bool mayReset, Call& call, std::int32_t handle);
// Starts the application and waits until it runs. False: it doesn't, and the call ends as "failed".
[[nodiscard]] bool StartApplication(Call& call, std::int32_t handle);

} // namespace cli

// Brings a device into the mode that a command needs. Each step is noted in the record, and so is the mode in which the
// device was left; a procedure that answers with a bool ends the call when it answers false.
#pragma once

#include "Call.h"
#include "DeviceLock.h"

#include <cstdint>
#include <functional>
#include <string>

namespace cli {

// Adds a step on the device of `handle`. `start` is the performance counter at its beginning; 0: not measured. The
// reference lasts until the next step.
Step& NoteStep(Call& call, std::int32_t handle, std::string operation, Verdict outcome, std::string reason = {},
               std::int64_t start = 0);

bool BusIsKnown(); // as far as notices have had their turn

// Gives the notice of a bus reset its turn, and waits until the targets are found again: before that, a node number may
// be that of another device. False when they aren't, or when the call must end.
[[nodiscard]] bool SettleBus(Call& call);

// Of a step that isn't done: what ended the call, or `otherwise`.
Verdict OutcomeOfEnd(Verdict otherwise);

// A command that sends a device something which another program's load doesn't bear holds its lock from there to its
// end. False: another program loads the device, and the call ends as "unchanged".
[[nodiscard]] bool HasLock(Call& call, const basBootloader::DeviceLock& lock);

// A device that runs its application is reset into its bootloader and waited for. False: it doesn't come up there, and
// the call ends as "unchanged".
[[nodiscard]] bool EnterBootloader(Call& call, std::int32_t handle);
// The same for a command that resets a device only when asked: without `mayReset` it ends as "unchanged" with the hint.
[[nodiscard]] bool EnterBootloaderIf(bool mayReset, Call& call, std::int32_t handle);
// Starts the application and waits until it runs. False: it doesn't, and the call ends as "failed", if it hasn't ended
// before.
[[nodiscard]] bool StartApplication(Call& call, std::int32_t handle);
// The same, unless a signal or the time limit ends the call: nobody would wait for the device then.
void StartAgain(Call& call, std::int32_t handle);

// One reset of the device, whatever it runs. False: it isn't back in that mode in time, and the call ends as "failed".
[[nodiscard]] bool ResetInto(Call& call, std::int32_t handle, bool bootloader);

// Carries out `work` with the device locked and in its bootloader, as EnterBootloaderIf brings it there; an application
// that ran before is started again. `work` may give the device another handle.
void InBootloader(Call& call, std::int32_t& handle, bool mayReset, const std::function<void()>& work);

} // namespace cli

// What the two ways of programming one device share (Programming.cpp, Identity.cpp).
#pragma once

#include "Bytes.h"
#include "FileName.h"
#include "TwdPackage.h"
#include "Verdict.h"

#include <cstdint>
#include <functional>
#include <string>

namespace basAutomation {

enum class TargetChoice { One, NoMatch, None, Several };

// Adds a step on the device of `handle`: done when `code` is 1, else failed for `reason`. The reference lasts until the
// next step.
basApp::StepVerdict& NoteStep(basApp::RunVerdict& verdict, basApp::OperationKind operation, std::int32_t handle,
                              std::int32_t code, std::string reason);
// The same for a step that the device need not answer: done or unconfirmed.
void NoteUnansweredStep(basApp::RunVerdict& verdict, basApp::OperationKind operation, std::int32_t handle,
                        std::int32_t code, std::string reason);

// The one device to work on, its handle and bootloader version (0: it runs its application). Anything but One has its
// ERROR line and ends the verdict; `caller` is the name in front of the line.
[[nodiscard]] TargetChoice ChooseTarget(const std::string& caller, const std::string& matchGuid, std::int32_t& handle,
                                        std::int32_t& bootloaderVersion, basApp::RunVerdict& verdict);
// The result of the reset makes no difference: the next pass looks at the device again.
void ResetIntoBootloader(std::int32_t handle, basApp::RunVerdict& verdict);
// True when the target answered. Its failure is logged and harmless.
bool SetUpPersistentParams(std::int32_t handle, basApp::RunVerdict& verdict);
// A failure is only logged: a bootloader that starts the image at once can't answer.
void StartApplication(std::int32_t handle, basApp::RunVerdict& verdict);

// The bytes as they are written down: 8 of a GUID, 6 of a MAC. 1, or the code of the failure.
[[nodiscard]] std::int32_t WriteGuidBytes(std::int32_t handle, ByteArray guid);
[[nodiscard]] std::int32_t WriteMacBytes(std::int32_t handle, ByteArray mac);

// Gives the window system turns until the node numbers at hand are those of the present bus; then carries out
// `exchange`, and again after a bus reset: its success may then be that of another device. Its code, RESULT_BUS_RESET,
// or -1 when the bus doesn't become known. `caller` is the name in front of the messages.
[[nodiscard]] std::int32_t OnKnownBus(const char* caller, const std::function<std::int32_t()>& exchange);

inline constexpr std::int32_t MAX_RESETS = 5; // into its bootloader, of a device that comes back without it

// Why the package may not be loaded into the device of `handle`; empty when it may.
[[nodiscard]] std::string FaultOfHardware(const platform::FileName& file, const TwdHeader& package,
                                          std::int32_t handle);

// Each of these logs at ERROR what it finds, and returns it; empty for a file that can be used.

// A file that doesn't exist, or whose name could mean several.
[[nodiscard]] std::string FaultOfFile(const platform::FileName& file);
// The first item of the file can't be programmed.
[[nodiscard]] std::string FaultOfGuidFile(const platform::FileName& file);
[[nodiscard]] std::string FaultOfMacFile(const platform::FileName& file);

} // namespace basAutomation

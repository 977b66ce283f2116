// What the two ways of programming one device have in common (Programming.cpp, Identity.cpp).
#pragma once

#include "FileName.h"

#include <cstdint>
#include <string>

namespace basAutomation {

enum class TargetChoice { One, NoMatch, NotOne };

// The one device to work on, its handle and bootloader version (0: it runs its application).
// Anything but One has its ERROR line; `caller` stands in front of it, "" for none.
TargetChoice ChooseTarget(const std::string& caller, const std::string& matchGuid, std::int32_t& handle,
                          std::int32_t& bootloaderVersion);
// The reset's own result makes no difference: the next pass looks at the device anew.
void ResetIntoBootloader(std::int32_t handle);
// True when the target answered. Its failure is logged and harmless.
bool SetUpPersistentParams(std::int32_t handle);
// Failure is only noted: a bootloader that starts the image at once can't answer.
void StartApplication(std::int32_t handle);
// ERROR and false for a file that isn't there, or whose name could mean several.
bool CheckFile(const platform::FileName& file);
// False, with the reason at ERROR, when the first item of the file can't be programmed.
bool CheckGuidFile(const platform::FileName& file);
bool CheckMacFile(const platform::FileName& file);

} // namespace basAutomation

// The udev rule that opens this computer's adapters and devices of our vendor to users.
#pragma once

#include <string>

namespace doctor {

inline constexpr const char* RULE_FILE = "70-hoistline.rules"; // before 73-seat-late.rules, which acts on the tag
inline constexpr const char* RULE_GROUP = "plugdev";
inline constexpr const char* RELOAD_RULES = "udevadm control --reload && udevadm trigger"; // as root
extern const char* const RULE_TEXT;

} // namespace doctor

// The per-user settings: a JSON file in the user's configuration folder, replaced atomically
// (HoistlineApp/settings.json in XDG_CONFIG_HOME or ~/.config).
#pragma once

#include <string>

namespace platform {

// `defaultValue` if there is no such value or no readable file.
std::string GetUserSetting(const std::string& section, const std::string& key, const std::string& defaultValue);
// False if it couldn't be stored.
bool SaveUserSetting(const std::string& section, const std::string& key, const std::string& value);
// For tests: uses another file; empty undoes it.
void UseUserSettingsFile(const std::string& path);

} // namespace platform

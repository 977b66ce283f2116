// The per-user settings store of the operating system: a JSON file in the user's configuration
// folder (XDG_CONFIG_HOME or ~/.config, then HoistlineApp/settings.json), replaced atomically.
#pragma once

#include <string>

namespace platform {

// The default when there is no such value or no readable store.
std::string GetUserSetting(const std::string& section, const std::string& key, const std::string& defaultValue);
// False when it could not be stored.
bool SaveUserSetting(const std::string& section, const std::string& key, const std::string& value);
// For tests: another file; empty undoes it.
void UseUserSettingsFile(const std::string& path);

} // namespace platform

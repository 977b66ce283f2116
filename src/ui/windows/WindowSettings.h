// Settings of the windows: in the program's store or, without one, in the platform's per-user settings under the same
// names.
#pragma once

#include <string>

namespace windowSettings {

bool HasStore();
std::string Get(const std::string& section, const std::string& key, const std::string& defaultValue);
// A stored flag: "0" and "False" in any spelling are off.
bool GetFlag(const std::string& section, const std::string& key, const std::string& defaultValue);
void Save(const std::string& section, const std::string& key, const std::string& value);
void Remove(const std::string& section, const std::string& key);

} // namespace windowSettings

#include "WindowSettings.h"

#include "CodePage.h"
#include "UserSettings.h"

namespace windowSettings {

Hooks hooks;

bool HasStore() {
    return hooks.hasStore && hooks.hasStore();
}

std::string Get(const std::string& section, const std::string& key, const std::string& defaultValue) {
    return HasStore() ? hooks.get(section, key, defaultValue) : platform::GetUserSetting(section, key, defaultValue);
}

bool GetFlag(const std::string& section, const std::string& key, const std::string& defaultValue) {
    const std::string value = platform::UpperCase(Get(section, key, defaultValue));
    return value != "0" && value != "FALSE";
}

void Save(const std::string& section, const std::string& key, const std::string& value) {
    if (HasStore())
        hooks.save(section, key, value);
    else
        platform::SaveUserSetting(section, key, value);
}

void Remove(const std::string& section, const std::string& key) {
    if (HasStore())
        hooks.remove(section, key);
}

} // namespace windowSettings

#include "WindowSettings.h"

#include "CodePage.h"
#include "Program.h"
#include "UserSettings.h"
#include "basApp.h"

namespace windowSettings {

namespace {

clsDbManager* Store() {
    return program::globals.DbManager.get();
}

} // namespace

bool HasStore() {
    return Store() != nullptr;
}

std::string Get(const std::string& section, const std::string& key, const std::string& defaultValue) {
    return HasStore() ? Store()->GetSetting(basApp::TITLE, section, key, defaultValue)
                      : platform::GetUserSetting(section, key, defaultValue);
}

bool GetFlag(const std::string& section, const std::string& key, const std::string& defaultValue) {
    const std::string value = platform::UpperCase(Get(section, key, defaultValue));
    return value != "0" && value != "FALSE";
}

void Save(const std::string& section, const std::string& key, const std::string& value) {
    if (HasStore())
        Store()->SaveSetting(basApp::TITLE, section, key, value);
    else
        platform::SaveUserSetting(section, key, value);
}

void Remove(const std::string& section, const std::string& key) {
    if (HasStore())
        Store()->RemoveSetting(basApp::TITLE, section, key);
}

} // namespace windowSettings

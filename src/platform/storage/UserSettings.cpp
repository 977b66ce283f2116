#include "UserSettings.h"

#include "Failure.h"
#include "Files.h"
#include "Paths.h"

#include <nlohmann/json.hpp>

using nlohmann::json;

namespace platform {

namespace {

struct Globals {
    std::string fixedFile; // of UseUserSettingsFile
} globals;

std::string SettingsFile() {
    if (!globals.fixedFile.empty())
        return globals.fixedFile;
    return JoinPath(UserFolder("XDG_CONFIG_HOME", ".config"), "settings.json");
}

// Null if there is no file, discarded if it doesn't hold settings.
json ReadSettings() {
    json settings;
    Attempt(
        [&] {
            const ByteArray text = ReadWholeFile(SettingsFile());
            settings = json::parse(text, nullptr, false);
            if (!settings.is_object())
                settings = json(json::value_t::discarded);
        },
        IgnoreFailure);
    return settings;
}

// An unreadable file is copied before it is replaced.
json SettingsToChange() {
    json settings = ReadSettings();
    if (settings.is_discarded())
        CopyFile(SettingsFile(), SettingsFile() + ".unreadable");
    return settings.is_object() ? settings : json::object();
}

} // namespace

std::string GetUserSetting(const std::string& section, const std::string& key, const std::string& defaultValue) {
    const json settings = ReadSettings();
    if (!settings.contains(section) || !settings[section].contains(key) || !settings[section][key].is_string())
        return defaultValue;
    return settings[section][key];
}

bool SaveUserSetting(const std::string& section, const std::string& key, const std::string& value) {
    return Attempt(
        [&] {
            json settings = SettingsToChange();
            if (!settings[section].is_object())
                settings[section] = json::object();
            settings[section][key] = value;
            const std::string text = settings.dump(2, ' ', false, json::error_handler_t::replace);
            const std::string file = SettingsFile();
            MakeDirectories(file.substr(0, file.find_last_of('/')));
            WriteFileAtomically(file, ByteArray(text.begin(), text.end()));
        },
        IgnoreFailure);
}

void UseUserSettingsFile(const std::string& path) {
    globals.fixedFile = path;
}

} // namespace platform

#include "UserSettings.h"

#include "Failure.h"
#include "Files.h"

#include <cstdlib>
#include <nlohmann/json.hpp>

namespace platform {

namespace {

struct Globals {
    std::string fixedFile; // of UseUserSettingsFile
} globals;

std::string SettingsFile() {
    if (!globals.fixedFile.empty())
        return globals.fixedFile;
    const char* config = std::getenv("XDG_CONFIG_HOME");
    if (config != nullptr && config[0] == '/')
        return std::string(config) + "/HoistlineApp/settings.json";
    const char* home = std::getenv("HOME");
    return std::string(home != nullptr ? home : "/tmp") + "/.config/HoistlineApp/settings.json";
}

// An empty object when there is no file or none that can be read.
nlohmann::json ReadSettings() {
    nlohmann::json settings = nlohmann::json::object();
    Attempt(
        [&] {
            InputFile file(SettingsFile());
            std::string text(std::size_t(file.Size()), '\0');
            text.resize(file.Read(reinterpret_cast<std::uint8_t*>(text.data()), text.size()));
            nlohmann::json read = nlohmann::json::parse(text, nullptr, false);
            if (read.is_object())
                settings = std::move(read);
        },
        IgnoreFailure);
    return settings;
}

} // namespace

std::string GetUserSetting(const std::string& section, const std::string& key, const std::string& defaultValue) {
    const nlohmann::json settings = ReadSettings();
    const auto found = settings.find(section);
    if (found == settings.end() || !found->is_object() || !found->contains(key) || !(*found)[key].is_string())
        return defaultValue;
    return (*found)[key].get<std::string>();
}

bool SaveUserSetting(const std::string& section, const std::string& key, const std::string& value) {
    return Attempt(
        [&] {
            nlohmann::json settings = ReadSettings();
            if (!settings[section].is_object())
                settings[section] = nlohmann::json::object();
            settings[section][key] = value;
            const std::string text = settings.dump(2, ' ', false, nlohmann::json::error_handler_t::replace);
            const std::string file = SettingsFile();
            MakeDirectories(file.substr(0, file.find_last_of('/')));
            WriteFileAtomically(file, ByteArray(text.begin(), text.end()));
        },
        IgnoreFailure);
}

void UseUserSettingsFile(const std::string& path) { globals.fixedFile = path; }

} // namespace platform

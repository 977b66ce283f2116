#include "KnownSettings.h"

#include "CodePage.h"
#include "Levels.h"
#include "Paths.h"
#include "SettingKeys.h"
#include "WhichBus.h"
#include "basApp.h"

#include <charconv>
#include <limits>

namespace program {

namespace {

using namespace settingKeys;

constexpr std::int32_t NO_LIMIT = std::numeric_limits<std::int32_t>::max();

bool IsFlag(const std::string& value) {
    const std::string word = platform::UpperCase(value);
    return word == "0" || word == "1" || word == "FALSE" || word == "TRUE";
}

std::vector<KnownSetting> MakeSettings() {
    const std::string global = GLOBAL_SECTION, firmware = SELECT_FIRMWARE_SECTION;
    const auto text = [](const std::string& section, const std::string& key, const std::string& otherwise,
                         const std::string& meaning) {
        return KnownSetting{section, key, otherwise, meaning, SettingKind::Text, 0, 0};
    };
    const auto flag = [](const std::string& section, const std::string& key, const std::string& otherwise,
                         const std::string& meaning) {
        return KnownSetting{section, key, otherwise, meaning, SettingKind::Flag, 0, 0};
    };
    const auto number = [](const std::string& section, const std::string& key, std::int32_t otherwise,
                           std::int32_t lowest, std::int32_t highest, const std::string& meaning) {
        return KnownSetting{section, key, std::to_string(otherwise), meaning, SettingKind::Number, lowest, highest};
    };
    return {
        number(global, DEBUG_LOGGING_LEVEL, LEVEL_TRACE, LEVEL_DETAIL, LEVEL_NONE,
               "lowest level of messages in the stored log"),
        number(global, DEBUG_MESSAGE_LEVEL, LEVEL_WARNING, LEVEL_DETAIL, LEVEL_FATAL,
               "lowest level of messages in a new status window"),
        number(global, DLL_MESSAGE_LEVEL, LEVEL_WARNING, LEVEL_DETAIL, LEVEL_FATAL,
               "lowest level of messages of the access library"),
        number(global, DEFAULT_TRANSACTION_TIMEOUT, basApp::DEFAULT_TRANSACTION_TIMEOUT, 0, LONGEST_TRANSACTION_TIMEOUT,
               "time-out of a transaction on the bus, ms"),
        text(global, RECORD_FOLDER, "", "folder in which each start of a program records the bus; empty: none does"),
        text(global, HELP_HOST, "file://" + platform::ExecutableDirectory() + "/docs/help",
             "address of the help pages"),
        KnownSetting{global, BUS, "", "bus from the next start on, as --bus takes it; none: the program decides",
                     SettingKind::Bus, 0, 0},
        text(SUPPORT_SECTION, SUPPORT_ADDRESS, "", "where the error report is sent"),
        number(firmware, DEFAULT_LOAD_BEHAVIOR, 0, 0, 2,
               "what a double-click loads: 0 config and image, 1 image, 2 config"),
        number(firmware, ALWAYS_LOAD_CONFIG, 0, 0, 1, "1: the config is always loaded with an application image"),
        number(SHELL_SECTION, SHELL_POLLING_INTERVAL, DEFAULT_POLLING_INTERVAL, 1, NO_LIMIT,
               "time between two looks at a console, ms"),
        number(SHELL_SECTION, SCROLL_BACK_LINES, DEFAULT_SCROLL_BACK, 0, NO_LIMIT,
               "lines that a terminal keeps; 0: all"),
        flag(PARENT_SECTION, AUTO_SCALE_CHILDREN, "1", "1: the controls of a window grow with it"),
        flag(MAIN_SECTION, REMOVE_DRIVER, "0", "1: the virtual device is removed at the end"),
    };
}

} // namespace

const std::vector<KnownSetting>& KnownSettings() {
    static const std::vector<KnownSetting> settings = MakeSettings();
    return settings;
}

std::string BoundsText(const KnownSetting& setting) {
    if (setting.Kind == SettingKind::Text || setting.Kind == SettingKind::Bus)
        return {};
    if (setting.Kind == SettingKind::Flag)
        return "0 or 1";
    return setting.Highest == NO_LIMIT ? fmt::format("from {} on", setting.Lowest)
                                       : fmt::format("from {} to {}", setting.Lowest, setting.Highest);
}

bool IsWholeNumber(const std::string& value, std::int32_t lowest, std::int32_t highest) {
    std::int32_t number = 0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
    return error == std::errc() && end == value.data() + value.size() && number >= lowest && number <= highest;
}

std::string SettingFault(const KnownSetting& setting, const std::string& value) {
    if (setting.Kind == SettingKind::Flag)
        return IsFlag(value) ? "" : "it is neither 0 nor 1";
    if (setting.Kind == SettingKind::Bus)
        return StoredBusFault(value);
    if (setting.Kind == SettingKind::Text || IsWholeNumber(value, setting.Lowest, setting.Highest))
        return {};
    return "it isn't a number " + BoundsText(setting);
}

} // namespace program

// The settings that this program stores, with their bounds: for a front end that shows or changes them all.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace program {

enum class SettingKind { Number, Flag, Text, Bus }; // Flag: 0 or 1, or the words false and true

struct KnownSetting {
    std::string Section, Key, Default, Meaning;
    SettingKind Kind = SettingKind::Number;
    std::int32_t Lowest = 0, Highest = 0; // of a number
};

const std::vector<KnownSetting>& KnownSettings();
// "from 1 to 17", "from 0 on", "0 or 1"; empty for a text and a bus.
std::string BoundsText(const KnownSetting& setting);
// Why the value can't be stored, as the end of "because ...": "it isn't a number from 1 to 15"; "" when it can.
std::string SettingFault(const KnownSetting& setting, const std::string& value);
[[nodiscard]] bool IsWholeNumber(const std::string& value, std::int32_t lowest, std::int32_t highest);

} // namespace program

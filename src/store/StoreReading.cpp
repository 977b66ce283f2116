#include "StoreReading.h"

#include "Database.h"
#include "StoreFiles.h"
#include "basApp.h"

#include <algorithm>
#include <limits>

namespace store {

namespace {

using platform::FieldValue;

std::string TextOf(const FieldValue& value) {
    if (const auto* number = std::get_if<std::int64_t>(&value))
        return std::to_string(*number);
    const auto* text = std::get_if<std::string>(&value);
    return text == nullptr ? std::string() : *text;
}

std::int64_t NumberOf(const FieldValue& value, std::int64_t otherwise) {
    const auto* number = std::get_if<std::int64_t>(&value);
    return number == nullptr ? otherwise : *number;
}

std::int32_t LevelOf(const FieldValue& value) {
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(NumberOf(value, 0), Limits::min(), Limits::max()));
}

// How many rows up to both ends are the same.
std::size_t SameRows(const std::vector<LogRow>& before, const std::vector<LogRow>& now, std::size_t nowEnd) {
    std::size_t same = 0;
    while (same < before.size() && same < nowEnd && before[before.size() - 1 - same] == now[nowEnd - 1 - same])
        ++same;
    return same;
}

} // namespace

bool HasDatabase() {
    return basApp::FileExists(LiveDatabase());
}

std::vector<LogRow> ReadLog() {
    std::vector<LogRow> rows;
    for (const auto& row : platform::Database::Read(
             LiveDatabase(), "SELECT lngRuntime, Level, strModule, Message FROM tblStatus ORDER BY rowid"))
        rows.push_back({NumberOf(row[0], -1), LevelOf(row[1]), TextOf(row[2]), TextOf(row[3])});
    return rows;
}

std::vector<StoredSetting> ReadSettings() {
    std::vector<StoredSetting> settings;
    for (const auto& row : platform::Database::Read(
             LiveDatabase(), fmt::format("SELECT strSection, strKeyName, strValue FROM tblSettings WHERE strAppName = "
                                         "'{}' ORDER BY rowid",
                                         basApp::TITLE)))
        settings.push_back({TextOf(row[0]), TextOf(row[1]), TextOf(row[2])});
    return settings;
}

// By content: row numbers change when the file is compacted.
std::size_t FirstNewRow(const std::vector<LogRow>& before, const std::vector<LogRow>& now) {
    std::size_t first = 0, longest = 0;
    for (std::size_t end = 1; end <= now.size(); ++end)
        if (const std::size_t same = SameRows(before, now, end); same > longest) {
            longest = same;
            first = end;
        }
    return first;
}

} // namespace store

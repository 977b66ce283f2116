// The stored log and settings, read without opening the store: nothing is written, and other programs may have it open.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace store {

struct LogRow {
    std::int64_t RunTime = -1; // ms since the first message of its run; -1 unknown
    std::int32_t Level = 0;
    std::string Module, Message;
    bool operator==(const LogRow&) const = default;
};

struct StoredSetting {
    std::string Section, Key, Value;
};

bool HasDatabase();
// Oldest first. Failure 3000 if the file can't be read.
std::vector<LogRow> ReadLog();
// Those of this program, in the order in which they were stored. The same failure.
std::vector<StoredSetting> ReadSettings();

// Which rows were added since `before` was read: the index of the first. Old rows may have been removed meanwhile.
std::size_t FirstNewRow(const std::vector<LogRow>& before, const std::vector<LogRow>& now);

} // namespace store

// When the rows of the stored log were written. A row has only its run's time; the rows of a start tell what time it
// was. All times are local, in milliseconds since 1970-01-01 00:00 by the local calendar, exact to about a second.
#pragma once

#include "Clock.h"
#include "StoreReading.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace store {

std::int64_t LocalMilliseconds(const platform::SystemTime& local);
std::string FormatLocal(std::int64_t milliseconds, char separator = ' '); // "2026-11-25 14:30:00"

// Takes the rows one after the other.
class LogClock {
public:
    // When the row was written, which wasn't after `latest`; none before the first start in the log.
    std::optional<std::int64_t> TimeOf(const LogRow& row, std::int64_t latest);

private:
    struct Run {
        std::int64_t Start;
        std::string Program; // "" when only its store has been opened
    };
    void NoteStart(const LogRow& row);

    std::vector<Run> runs_; // those that haven't ended; a program may run beside another
    std::optional<std::int64_t> last_;
};

// For each row, of a log that was read at `now`.
std::vector<std::optional<std::int64_t>> TimesOf(LogClock& clock, const std::vector<LogRow>& rows, std::int64_t now);

// "2026-11-25", "2026-11-25 14:30", "14:30" (today), each also with seconds; "90s", "10m", "2h", "3d" ago. None for
// anything else.
std::optional<std::int64_t> ParseSince(std::string_view text, std::int64_t now);

} // namespace store

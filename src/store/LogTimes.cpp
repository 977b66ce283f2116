#include "LogTimes.h"

#include "basApp.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <chrono>

namespace store {

namespace {

constexpr std::int64_t SECOND = 1000, MINUTE = 60 * SECOND, HOUR = 60 * MINUTE, DAY = 24 * HOUR;
constexpr std::size_t DATE_SIZE = 10;      // "2026-11-25"
constexpr std::size_t DATE_TIME_SIZE = 19; // "2026-11-25 14:30:00"

// The digits of `text` as a number; none for anything else.
std::optional<std::int64_t> Number(std::string_view text) {
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool whole = error == std::errc() && end == text.data() + text.size() && text.front() != '-';
    return whole ? std::optional(number) : std::nullopt;
}

// "14:30" or "14:30:05", since midnight.
std::optional<std::int64_t> TimeOfDay(std::string_view text) {
    if ((text.size() != 5 && text.size() != 8) || text[2] != ':' || (text.size() == 8 && text[5] != ':'))
        return std::nullopt;
    const auto hour = Number(text.substr(0, 2)), minute = Number(text.substr(3, 2)),
               second = text.size() == 8 ? Number(text.substr(6, 2)) : 0;
    if (!hour || !minute || !second || *hour > 23 || *minute > 59 || *second > 59)
        return std::nullopt;
    return *hour * HOUR + *minute * MINUTE + *second * SECOND;
}

std::optional<std::int64_t> Day(std::string_view text) {
    using namespace std::chrono;
    if (text.size() != DATE_SIZE || text[4] != '-' || text[7] != '-')
        return std::nullopt;
    const auto y = Number(text.substr(0, 4)), m = Number(text.substr(5, 2)), d = Number(text.substr(8, 2));
    if (!y || !m || !d)
        return std::nullopt;
    const year_month_day date{year(int(*y)), month(unsigned(*m)), day(unsigned(*d))};
    return date.ok() ? std::optional(sys_days(date).time_since_epoch().count() * DAY) : std::nullopt;
}

std::optional<std::int64_t> DateTime(std::string_view text) {
    const std::optional<std::int64_t> date = Day(text.substr(0, DATE_SIZE));
    if (!date || text.size() == DATE_SIZE)
        return date;
    if (text[DATE_SIZE] != ' ' && text[DATE_SIZE] != 'T')
        return std::nullopt;
    const std::optional<std::int64_t> time = TimeOfDay(text.substr(DATE_SIZE + 1));
    return time ? std::optional(*date + *time) : std::nullopt;
}

std::optional<std::int64_t> Ago(std::string_view text, std::int64_t now) {
    constexpr std::pair<char, std::int64_t> UNITS[] = {{'s', SECOND}, {'m', MINUTE}, {'h', HOUR}, {'d', DAY}};
    const auto* unit = std::ranges::find(UNITS, text.back(), &std::pair<char, std::int64_t>::first);
    const auto count = Number(text.substr(0, text.size() - 1));
    if (unit == std::end(UNITS) || !count || *count > 100'000'000)
        return std::nullopt;
    return now - *count * unit->second;
}

// The time that ends a text, before a "." that may follow.
std::optional<std::int64_t> TimeAtEnd(std::string_view text) {
    if (text.ends_with('.'))
        text.remove_suffix(1);
    return text.size() < DATE_TIME_SIZE ? std::nullopt : DateTime(text.substr(text.size() - DATE_TIME_SIZE));
}

bool IsStart(const LogRow& row) {
    return row.Module == "basApp" && row.Message.starts_with("Started ");
}

// "HoistlineApp"
std::string ProgramOf(const LogRow& start) {
    const std::size_t from = std::string_view("Started ").size();
    return start.Message.substr(from, start.Message.find(' ', from) - from);
}

// Of a store that has just been opened: its rows have no run time yet.
bool IsOpening(const LogRow& row) {
    return row.RunTime < 0 && row.Module == "clsDbManager" &&
           row.Message.starts_with("Database initialized and status log opened on ");
}

bool IsClosing(const LogRow& row) {
    return row.Module == "clsDbManager" && row.Message == "Closing database...";
}

} // namespace

std::int64_t LocalMilliseconds(const platform::SystemTime& local) {
    using namespace std::chrono;
    const sys_days date = year_month_day(year(local.Year), month(local.Month), day(local.Day));
    return date.time_since_epoch().count() * DAY + local.Hour * HOUR + local.Minute * MINUTE + local.Second * SECOND +
           local.Milliseconds;
}

std::string FormatLocal(std::int64_t milliseconds, char separator) {
    using namespace std::chrono;
    const auto date = floor<days>(sys_time<std::chrono::milliseconds>(std::chrono::milliseconds(milliseconds)));
    const year_month_day calendar = date;
    const std::int64_t time = milliseconds - date.time_since_epoch().count() * DAY;
    return fmt::format("{:04}-{:02}-{:02}{}{:02}:{:02}:{:02}", int(calendar.year()), unsigned(calendar.month()),
                       unsigned(calendar.day()), separator, time / HOUR, time % HOUR / MINUTE, time % MINUTE / SECOND);
}

void LogClock::NoteStart(const LogRow& row) {
    const bool announced = IsStart(row);
    const std::optional<std::int64_t> time = announced || IsOpening(row) ? TimeAtEnd(row.Message) : std::nullopt;
    if (!time)
        return;
    const std::string program = announced ? ProgramOf(row) : "";
    if (announced && !runs_.empty() && runs_.back().Program.empty())
        runs_.pop_back();         // the opening of its store
    if (program == basApp::TITLE) // runs once at a time: an earlier run that hasn't ended was killed
        std::erase_if(runs_, [](const Run& run) { return run.Program == basApp::TITLE; });
    runs_.push_back({*time - std::max<std::int64_t>(row.RunTime, 0), program});
    last_ = time; // it is certain, also when the calendar has been set back
}

// Rows are stored in the order of their times, so among the runs that haven't ended it is the one with the next time. A
// run that was killed still counts, and takes a row if nothing has been stored for longer than lies between its start
// and the next.
std::optional<std::int64_t> LogClock::TimeOf(const LogRow& row, std::int64_t latest) {
    NoteStart(row);
    std::optional<std::int64_t> next;
    for (const Run& run : runs_) {
        const std::int64_t time = run.Start + std::max<std::int64_t>(row.RunTime, 0);
        if (time <= latest && time >= last_.value_or(time) - SECOND)
            next = std::min(next.value_or(time), time);
    }
    if (next)
        last_ = std::max(last_.value_or(*next), *next);
    if (IsClosing(row) && !runs_.empty())
        runs_.pop_back();
    return last_;
}

std::vector<std::optional<std::int64_t>> TimesOf(LogClock& clock, const std::vector<LogRow>& rows, std::int64_t now) {
    std::vector<std::int64_t> latest(rows.size());
    for (std::size_t i = rows.size(); i-- > 0;) {
        latest[i] = now + SECOND; // times of starts are cut to whole seconds
        if (IsStart(rows[i]) || IsOpening(rows[i]))
            now = std::min(now, TimeAtEnd(rows[i].Message).value_or(now) + SECOND);
    }
    std::vector<std::optional<std::int64_t>> times;
    for (std::size_t i = 0; i < rows.size(); ++i)
        times.push_back(clock.TimeOf(rows[i], latest[i]));
    return times;
}

std::optional<std::int64_t> ParseSince(std::string_view text, std::int64_t now) {
    if (text.empty())
        return std::nullopt;
    if (const auto time = TimeOfDay(text))
        return now - now % DAY + *time;
    if (const auto time = Ago(text, now))
        return time;
    return DateTime(text);
}

} // namespace store

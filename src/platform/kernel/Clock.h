// The one clock: the performance counter, sleeping, and the calendar.
#pragma once

#include <cstdint>

namespace platform {

// The source of time. The real one is the default; tests replace it with a virtual one.
class Clock {
public:
    virtual ~Clock() = default;
    // Nanoseconds of the performance counter (CLOCK_MONOTONIC).
    virtual std::int64_t Now() = 0;
    // Nanoseconds since 1970-01-01 00:00 UTC.
    virtual std::int64_t CalendarNow() = 0;
    virtual void Sleep(std::int64_t nanoseconds) = 0;
};

// Null restores the real clock. The caller keeps ownership.
void UseClock(Clock* clock);
Clock& CurrentClock();

inline constexpr std::int64_t COUNTER_FREQUENCY = 1'000'000'000; // ticks per second

std::int64_t QueryPerformanceFrequency();
std::int64_t QueryPerformanceCounter();
// The window system gets no turn meanwhile.
void Sleep(std::uint32_t milliseconds);

// The eight 16-bit fields of the platform's calendar time.
struct SystemTime {
    std::uint16_t Year = 0, Month = 0, DayOfWeek = 0, Day = 0, Hour = 0, Minute = 0, Second = 0, Milliseconds = 0;
    bool operator==(const SystemTime&) const = default;
};

// 100 ns units since 1601-01-01 UTC; -1 if there is no time.
using FileTime = std::int64_t;
FileTime FileTimeFromUnix(std::int64_t nanosecondsSince1970);
// False for a negative time.
[[nodiscard]] bool FileTimeToSystemTime(FileTime fileTime, SystemTime& systemTime);
SystemTime GetSystemTime(); // UTC
SystemTime GetLocalTime();

// The current state of the local time zone.
inline constexpr std::uint32_t TIME_ZONE_ID_UNKNOWN = 0; // the zone has no daylight saving time
inline constexpr std::uint32_t TIME_ZONE_ID_STANDARD = 1;
inline constexpr std::uint32_t TIME_ZONE_ID_DAYLIGHT = 2;
inline constexpr std::uint32_t TIME_ZONE_ID_INVALID = 0xFFFFFFFF;
std::uint32_t GetTimeZoneInformation();
// By the rules of the local zone at that time. False if the fields aren't a valid date.
[[nodiscard]] bool SystemTimeToTzSpecificLocalTime(const SystemTime& utcTime, SystemTime& localTime);

} // namespace platform

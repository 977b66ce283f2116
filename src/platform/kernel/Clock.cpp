#include "Clock.h"

#include <cerrno>
#include <ctime>
#include <tuple>

#include <sched.h>

namespace platform {

namespace {

constexpr std::int64_t NANOSECONDS = 1'000'000'000;
constexpr std::int64_t UNITS_PER_SECOND = 10'000'000;         // of a FileTime
constexpr std::int64_t SECONDS_1601_TO_1970 = 11'644'473'600; // leap days included

// The kernel ends a sleep 60 to 200 microseconds late. A load sleeps 10 ms per block, so this would cost it one or two
// per cent: the last part of a sleep is a busy wait.
constexpr std::int64_t WAKE_UP_LATENESS = 200'000;

class RealClock : public Clock {
public:
    std::int64_t Now() override { return Read(CLOCK_MONOTONIC); }
    std::int64_t CalendarNow() override { return Read(CLOCK_REALTIME); }
    void Sleep(std::int64_t nanoseconds) override {
        const std::int64_t due = Now() + nanoseconds;
        if (nanoseconds > WAKE_UP_LATENESS)
            SleepUntil(due - WAKE_UP_LATENESS);
        while (Now() < due)
            sched_yield();
    }

private:
    static void SleepUntil(std::int64_t time) {
        const timespec until{time_t(time / NANOSECONDS), long(time % NANOSECONDS)};
        while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
        }
    }
    static std::int64_t Read(clockid_t id) {
        timespec now{};
        clock_gettime(id, &now);
        return now.tv_sec * NANOSECONDS + now.tv_nsec;
    }
};

struct Globals {
    RealClock real;
    Clock* current = nullptr; // null: the real one
} globals;

SystemTime FieldsOf(const tm& calendar, std::int64_t nanoseconds) {
    return {std::uint16_t(calendar.tm_year + 1900), std::uint16_t(calendar.tm_mon + 1),
            std::uint16_t(calendar.tm_wday),        std::uint16_t(calendar.tm_mday),
            std::uint16_t(calendar.tm_hour),        std::uint16_t(calendar.tm_min),
            std::uint16_t(calendar.tm_sec),         std::uint16_t(nanoseconds / 1'000'000)};
}

} // namespace

void UseClock(Clock* clock) {
    globals.current = clock;
}
Clock& CurrentClock() {
    return globals.current != nullptr ? *globals.current : globals.real;
}

std::int64_t QueryPerformanceFrequency() {
    return COUNTER_FREQUENCY;
}
std::int64_t QueryPerformanceCounter() {
    return CurrentClock().Now();
}
void Sleep(std::uint32_t milliseconds) {
    CurrentClock().Sleep(std::int64_t(milliseconds) * 1'000'000);
}

FileTime FileTimeFromUnix(std::int64_t nanosecondsSince1970) {
    return nanosecondsSince1970 / 100 + SECONDS_1601_TO_1970 * UNITS_PER_SECOND;
}

bool FileTimeToSystemTime(FileTime fileTime, SystemTime& systemTime) {
    if (fileTime < 0)
        return false;
    const time_t seconds = fileTime / UNITS_PER_SECOND - SECONDS_1601_TO_1970;
    tm calendar{};
    if (gmtime_r(&seconds, &calendar) == nullptr)
        return false;
    systemTime = FieldsOf(calendar, fileTime % UNITS_PER_SECOND * 100);
    return true;
}

SystemTime GetSystemTime() {
    SystemTime systemTime;
    std::ignore = FileTimeToSystemTime(FileTimeFromUnix(CurrentClock().CalendarNow()), systemTime);
    return systemTime;
}

SystemTime GetLocalTime() {
    const std::int64_t now = CurrentClock().CalendarNow();
    const time_t seconds = now / NANOSECONDS;
    tm calendar{};
    localtime_r(&seconds, &calendar);
    return FieldsOf(calendar, now % NANOSECONDS);
}

std::uint32_t GetTimeZoneInformation() {
    const time_t seconds = CurrentClock().CalendarNow() / NANOSECONDS;
    tm calendar{};
    if (localtime_r(&seconds, &calendar) == nullptr || calendar.tm_isdst < 0)
        return TIME_ZONE_ID_INVALID;
    if (calendar.tm_isdst > 0)
        return TIME_ZONE_ID_DAYLIGHT;
    // Daylight saving time in any month of the year means that the zone has it.
    for (int month = 0; month < 12; ++month) {
        tm probe{};
        probe.tm_year = calendar.tm_year;
        probe.tm_mon = month;
        probe.tm_mday = 15;
        probe.tm_hour = 12;
        probe.tm_isdst = -1;
        if (mktime(&probe) != -1 && probe.tm_isdst > 0)
            return TIME_ZONE_ID_STANDARD;
    }
    return TIME_ZONE_ID_UNKNOWN;
}

bool SystemTimeToTzSpecificLocalTime(const SystemTime& utcTime, SystemTime& localTime) {
    if (utcTime.Year < 1601 || utcTime.Month < 1 || utcTime.Month > 12 || utcTime.Day < 1 || utcTime.Day > 31 ||
        utcTime.Hour > 23 || utcTime.Minute > 59 || utcTime.Second > 59)
        return false;
    tm calendar{};
    calendar.tm_year = utcTime.Year - 1900;
    calendar.tm_mon = utcTime.Month - 1;
    calendar.tm_mday = utcTime.Day;
    calendar.tm_hour = utcTime.Hour;
    calendar.tm_min = utcTime.Minute;
    calendar.tm_sec = utcTime.Second;
    const time_t seconds = timegm(&calendar);
    if (calendar.tm_mday != utcTime.Day) // the 31st of a shorter month
        return false;
    tm local{};
    if (localtime_r(&seconds, &local) == nullptr)
        return false;
    localTime = FieldsOf(local, std::int64_t(utcTime.Milliseconds) * 1'000'000);
    return true;
}

} // namespace platform

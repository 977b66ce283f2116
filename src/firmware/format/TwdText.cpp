// Text forms of versions, dates and times, for packages and info registers alike. No digit is
// checked: any content is cut up the same way.
#include "CodePage.h"
#include "TwdPackage.h"
#include "basApp.h"

#include <fmt/format.h>

namespace basBootloader {

namespace {

using Field = std::array<std::uint8_t, 8>;

std::string Cut(const Field& field, std::size_t first, std::size_t count) {
    return platform::TextFromAnsi(field.data() + first, count);
}

// A value beyond any calendar field stays an invalid date.
std::uint16_t CalendarField(const Field& field, std::size_t first, std::size_t count) {
    constexpr std::uint16_t NO_DATE = 0xFFFF;
    const double value = platform::LeadingNumber(Cut(field, first, count));
    return value >= 0 && value < NO_DATE ? static_cast<std::uint16_t>(value) : NO_DATE;
}

platform::SystemTime SystemTimeFromTwd(const Field& date, const Field& time) {
    platform::SystemTime utc;
    utc.Year = CalendarField(date, 0, 4);
    utc.Month = CalendarField(date, 4, 2);
    utc.Day = CalendarField(date, 6, 2);
    utc.Hour = CalendarField(time, 0, 2);
    utc.Minute = CalendarField(time, 2, 2);
    utc.Second = CalendarField(time, 4, 2);
    return utc;
}

} // namespace

std::string FormatVersion(std::int32_t version) {
    const std::uint32_t bits = Bits(version);
    return fmt::format("{}.{}.{}.{}", bits >> 24, bits >> 16 & 0xFF, bits >> 8 & 0xFF, bits & 0xFF);
}

std::string FormatTwdDate(const Field& date) {
    return fmt::format("{}-{}-{}", Cut(date, 0, 4), Cut(date, 4, 2), Cut(date, 6, 2));
}

std::string FormatTwdTime(const Field& time) {
    return fmt::format("{}:{}:{} utc", Cut(time, 0, 2), Cut(time, 2, 2), Cut(time, 4, 2));
}

std::string FormatLocalTime(const Field& date, const Field& time) {
    platform::SystemTime local;
    if (basApp::SystemTimeToLocal(SystemTimeFromTwd(date, time), local) != 1)
        local = {};
    return fmt::format("{:02}:{:02}:{:02}", local.Hour, local.Minute, local.Second);
}

std::string FormatDateTime(const Field& date, const Field& time) {
    std::string text = FormatTwdDate(date) + " " + FormatTwdTime(time);
    platform::SystemTime local;
    if (basApp::SystemTimeToLocal(SystemTimeFromTwd(date, time), local) == 1)
        text += fmt::format(" / {:02}:{:02}:{:02} (local)", local.Hour, local.Minute, local.Second);
    return text;
}

} // namespace basBootloader

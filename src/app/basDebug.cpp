#include "basDebug.h"

#include "Clock.h"
#include "CodePage.h"
#include "Failure.h"
#include "WindowSystem.h"
#include "basApp.h"
#include "basUtils.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace basDebug {

Globals globals;
Hooks hooks;

namespace {

struct LevelWord {
    std::string_view word;
    std::int32_t number;
};

constexpr LevelWord LEVEL_NAMES[] = {
    {"DETAIL", LEVEL_DETAIL},   {"MUTEX", LEVEL_MUTEX}, {"TRACE", LEVEL_TRACE},
    {"WARNING", LEVEL_WARNING}, {"WATCH", LEVEL_WATCH}, {"ERROR", LEVEL_ERROR},
    {"USER", LEVEL_USER},       {"FATAL", LEVEL_FATAL}, {"NONE", LEVEL_NONE},
};

// In the order of the search: a text with two of these words has the level of the earlier row.
constexpr LevelWord SEARCHED_WORDS[] = {
    {"DETAIL", LEVEL_DETAIL},   {"MUTEX", LEVEL_MUTEX}, {"TRACE", LEVEL_TRACE}, {"DLL DEBUG SPEW", LEVEL_USER},
    {"WARNING", LEVEL_WARNING}, {"WATCH", LEVEL_WATCH}, {"ERROR", LEVEL_ERROR}, {"FATAL", LEVEL_FATAL},
    {"NONE", LEVEL_NONE},       {"USER", LEVEL_USER},
};

std::int32_t NumberInRange(double number) {
    constexpr double LOWEST = std::numeric_limits<std::int32_t>::min();
    constexpr double HIGHEST = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::clamp(std::nearbyint(number), LOWEST, HIGHEST));
}

void StartClock(std::int64_t& startCount) {
    if (startCount == 0)
        startCount = platform::QueryPerformanceCounter();
}

bool StatusWindowWants(std::size_t slot, std::int32_t level) {
    // A status window shows a message of level 0 as one without a level.
    return basApp::CurrentFrontEnd().StatusWindowWants(slot, level == 0 ? LEVEL_TRACE : level);
}

bool LogWants(std::int32_t level) {
    return level >= basApp::globals.DebugLoggingLevel && hooks.appendToLog;
}

bool EchoWants(std::int32_t level) {
    return level >= LEVEL_WATCH && basApp::globals.PerformUnattendedOperations;
}

// Both common paths. Status windows 0 up to `windowCount` get the message. Each statement stands
// alone: a log that fails must neither stop the program nor keep the message from the others.
void Distribute(std::int64_t startCount, std::size_t windowCount, std::string_view message, std::int32_t level,
                std::string_view module) {
    platform::ResumeNext next{platform::IgnoreFailure};
    if (level >= LEVEL_FATAL)
        for (int beep = 0; beep < 3; ++beep)
            next([] { platform::Beep(); });
    float elapsedTime = 0; // stays 0 while no access library is loaded
    next([&] { elapsedTime = basApp::ElapsedMilliseconds(startCount); });
    for (std::size_t slot = 0; slot < windowCount; ++slot) {
        next([&] {
            if (StatusWindowWants(slot, level))
                basApp::CurrentFrontEnd().PostToStatusWindow(slot, message, elapsedTime, level, module);
        });
    }
    next([&] {
        if (LogWants(level))
            hooks.appendToLog(message, level, module, NumberInRange(elapsedTime));
    });
    next([&] {
        if (EchoWants(level))
            basApp::CurrentFrontEnd().EchoMessage(message, level);
    });
}

} // namespace

std::string GetLevelName(std::int32_t number) {
    for (const LevelWord& name : LEVEL_NAMES)
        if (name.number == number)
            return std::string(name.word);
    return "unknown";
}

std::int32_t GetLevelNumber(std::string_view level) {
    if (basUtils::IsNumericText(level))
        return NumberInRange(platform::LeadingNumber(level));
    const std::string upper = platform::UpperCase(level);
    for (const LevelWord& searched : SEARCHED_WORDS)
        if (upper.find(searched.word) != std::string::npos)
            return searched.number;
    return LEVEL_TRACE;
}

bool Wanted(std::int32_t level) {
    StartClock(globals.StartCount); // the first message starts the clock, even one that nobody wants
    return level >= LEVEL_FATAL || LogWants(level) || EchoWants(level) || StatusWindowWants(0, level);
}

void StatusDisplay(std::string_view message, std::int32_t level, std::string_view module) {
    StartClock(globals.StartCount);
    Distribute(globals.StartCount, 1, message, level, module.empty() ? "unspecified" : module);
}

void StatusDisplayOfMainWindow(std::string_view message, std::string_view level, std::string_view module) {
    StartClock(globals.MainWindowStartCount);
    if (module.empty())
        module = level.empty() ? "unspecified" : level;
    Distribute(globals.MainWindowStartCount, basApp::CurrentFrontEnd().StatusWindowCount(), message,
               GetLevelNumber(level), module);
}

std::string FormatRunTime(std::int64_t milliseconds) {
    const std::int64_t time = std::max<std::int64_t>(milliseconds, 0); // -1 is "no clock at hand"
    return fmt::format("{}:{:02}:{:02}.{:03}", time / 3600000, time % 3600000 / 60000, time % 60000 / 1000,
                       time % 1000);
}

} // namespace basDebug

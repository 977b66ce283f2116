// The program's globals, its own messages, and the file and time probes.
#pragma once

#include "Bytes.h"
#include "Clock.h"
#include "Failure.h"
#include "FrontEnd.h"
#include "Handles.h"
#include "basDebug.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace basApp {

inline constexpr const char* TITLE = "HoistlineApp";             // also the application name in the store
extern const int VERSION_MAJOR, VERSION_MINOR, VERSION_REVISION; // the build's, from CMakeLists.txt
inline std::string VersionText() {                               // "1.8.1"
    return fmt::format("{}.{}.{}", VERSION_MAJOR, VERSION_MINOR, VERSION_REVISION);
}

inline constexpr std::int32_t DEFAULT_TRANSACTION_TIMEOUT = 200, DEFAULT_SETTLE_TIME = 200; // ms

struct Globals {
    std::int64_t PerformanceFrequency = 0; // counter ticks per second
    std::int32_t TicksPerMillisecond = 0;
    std::int64_t ApplicationStartCount = 0;                                   // counter at start
    std::int32_t DebugMessageLevel = 7;                                       // lowest level a new status window shows
    std::int32_t DebugLoggingLevel = 5;                                       // lowest level written to the stored log
    std::int32_t DllMessageLevel = 7;                                         // given to the library's SetDebugSpew
    std::int32_t Default1394TransactionTimeout = DEFAULT_TRANSACTION_TIMEOUT; // ms, for a negative time-out
    std::int32_t CurrentTransactionTimeout = DEFAULT_TRANSACTION_TIMEOUT;     // ms, of config ROM reads
    std::int32_t BusResetSettleTime = DEFAULT_SETTLE_TIME;                    // ms before a bus reset is handled
    bool OverrideHardwareCompatibility = false;
    bool DownloadInProgress = false;          // quiets low levels, holds off a discovery that is owed
    bool UseTwlThesyconDriver = false;        // mirrors a menu entry; no other code reads it
    bool PerformUnattendedOperations = false; // a run is on; message boxes become status file lines
    bool ClosesAfterOperation = false;        // no further operation of the run begins
    platform::Handle ApplicationShutdownEvent = 0;
    std::string StoreNotice;                     // why the store can't be written, "" while it can
    std::string RawCommandLine;                  // as given, arguments joined
    std::string CommandLine;                     // trimmed, upper-cased
    std::vector<std::string> CommandLineOptions; // element 0 stays empty
    std::vector<std::string> TypedOptions;       // the same before they were put in capitals
    std::vector<std::string> CommandLineErrors;  // element 0 stays empty
};
extern Globals globals;

// What messages and probes need from higher layers. Filled by program/Program.cpp.
struct Hooks {
    // Whole milliseconds since a counter value, by the access library. Failure 53 without one.
    std::function<float(std::int64_t counter)> queryElapsedTimeMs;
    std::function<void(std::string_view text)> writeStatusFileLine; // the unattended output file
};
extern Hooks hooks;

// Module wrapper. While the front end isn't open, level 11 and above becomes a message box, or a
// line of the unattended output file, and the rest is dropped.
void StatusDisplayText(std::string_view message, std::int32_t level);
bool StatusDisplayWanted(std::int32_t level);
template <class... Arguments>
void StatusDisplay(std::int32_t level, fmt::format_string<Arguments...> text, Arguments&&... arguments) {
    if (StatusDisplayWanted(level))
        StatusDisplayText(fmt::format(text, std::forward<Arguments>(arguments)...), level);
}
// The rule of bas1394, basBootloader and basAutomation: below level 8 nothing while a load runs.
inline bool QuietDuringDownload(std::int32_t level) {
    return level < 8 && globals.DownloadInProgress;
}

// Shows `text` in a message box, or writes it to the unattended output file during a run.
void MessageBoxOrStatusFile(const std::string& text, const std::string& caption);

// Keeps and shows why nothing is stored; the first reason only. An empty text takes it back.
void TellStoreNotice(const std::string& text);

// Probes. Paths are case-blind, either separator.
bool FileExists(std::string& path); // takes every "*" out of the caller's text
bool FileExists(const std::string& path);
bool DirectoryExists(const std::string& path);
std::int64_t GetFileSize64(const std::string& path);       // first match; -1 when there is none
platform::FileTime GetFileDate64(const std::string& path); // the same
// 1; -1 for an invalid date, or unless the local zone is now on daylight saving time (state 2 or 3).
std::int32_t SystemTimeToLocal(const platform::SystemTime& utcTime, platform::SystemTime& localTime);
// Milliseconds since a counter value, by the access library; failure 53 when it isn't loaded.
float ElapsedMilliseconds(std::int64_t startCount);

// A window's place, in twips (15 to a pixel).
struct WindowPlace {
    std::int32_t Left = 0, Top = 0, Width = 0, Height = 0;
};
// Brings a window back onto the area that is available to it (its parent's client area, or the
// screen for the parent itself). `name` is for the messages.
WindowPlace VerifyFormPosition(const std::string& name, WindowPlace place, std::int32_t availableWidth,
                               std::int32_t availableHeight);

} // namespace basApp

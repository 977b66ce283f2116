// Start-up and shutdown, the program's global settings, and the file and time probes.
#pragma once

#include "Bytes.h"
#include "Clock.h"
#include "Failure.h"
#include "Handles.h"
#include "basDebug.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace basApp {

inline constexpr const char* TITLE = "HoistlineApp"; // also the application name in the store
inline constexpr int VERSION_MAJOR = 1, VERSION_MINOR = 8, VERSION_REVISION = 1;

struct Globals {
    std::int64_t PerformanceFrequency = 0; // counter ticks per second
    std::int32_t TicksPerMillisecond = 0;
    std::int64_t ApplicationStartCount = 0;           // counter at start
    std::int32_t DebugMessageLevel = 7;               // lowest level a new status window shows
    std::int32_t DebugLoggingLevel = 5;               // lowest level written to the stored log
    std::int32_t DllMessageLevel = 7;                 // given to the library's SetDebugSpew
    std::int32_t Default1394TransactionTimeout = 200; // ms, for a negative time-out
    std::int32_t CurrentTransactionTimeout = 200;     // ms, of config ROM reads
    std::int32_t BusResetSettleTime = 200;            // ms before a bus reset is handled
    bool OverrideHardwareCompatibility = false;
    bool DownloadInProgress = false;          // quiets low levels, holds off a discovery that is owed
    bool UseTwlThesyconDriver = false;        // mirrors a menu entry; no other code reads it
    bool PerformUnattendedOperations = false; // a run is on; message boxes become status file lines
    bool EndRequested = false;                // no operation of the run is begun any more; a signal alone: platform::
    platform::Handle ApplicationShutdownEvent = 0;
    std::string StoreNotice;                     // why the store can't be written, "" while it can
    std::string RawCommandLine;                  // as given, arguments joined
    std::string CommandLine;                     // trimmed, upper-cased
    std::vector<std::string> CommandLineOptions; // element 0 stays empty
    std::vector<std::string> TypedOptions;       // the same before they were put in capitals
    std::vector<std::string> CommandLineErrors;  // element 0 stays empty
};
extern Globals globals;

// The steps of Main and ShutdownApplication that belong to higher layers, and what messages need
// of them. Filled by main.
struct Hooks {
    std::function<void()> createStore; // DbManager
    std::function<void()> releaseStore;
    // Setting of section "Global".
    std::function<std::string(const std::string& key, const std::string& defaultValue)> globalSetting;
    std::function<void()> loadParentWindow; // MDIForm1 with frmMain and the first frmStatus
    std::function<bool()> mainWindowExists;
    std::function<void()> focusMainWindow; // if it exists and is visible
    // The command line in capitals, and as it was typed.
    std::function<std::int32_t(std::string& text, const std::string& typed)> parseCommandLine;
    std::function<std::int32_t()> initializeCommandLineOptions;
    std::function<bool()> commandLineHasOperations;
    std::function<std::int32_t()> initializeUnattendedRun;
    std::function<void()> initializeTargetList;
    std::function<void()> terminateTargetList;
    std::function<void()> prepareNodeTable; // Device table and address ranges
    std::function<void*()> loadLibrary;     // null when it didn't load
    std::function<void()> unloadLibrary;
    std::function<std::int32_t(const ByteArray&)> hookSystemModule; // bytes end in 0
    std::function<void(std::int32_t level)> setDebugSpew;
    std::function<void()> requestFirstEnumeration; // sets BusResetPending, clears BusEnumerated
    // Whole milliseconds since a counter value, by the access library. Failure 53 without one.
    std::function<float(std::int64_t counter)> queryElapsedTimeMs;
    std::function<void(std::string_view text)> writeStatusFileLine; // the unattended output file
    std::function<void(const std::string& text)> storeNotice; // for standard error and the parent window; "": gone
    std::function<void()> endProgram;
};
extern Hooks hooks;

// The program's entry. False when the program is to end at once (a second instance, a failed
// unattended set-up); otherwise it lives on the window system's message loop from here.
bool Main(const std::string& rawCommandLine);
// In fixed order: event, mutexes, library, store, end. Goes on past failures without a word.
void ShutdownApplication();

// Joins argv into the raw command line: a value that names a path ("/" inside) or holds a blank is
// put in double quotes, also one that stands together with its option ("/Dfw/app.twd"); one that
// names an existing file relative to the current directory is made absolute. An argument that
// holds several options with their values is taken word by word.
std::string JoinArguments(const std::vector<std::string>& arguments);

// Module wrapper. While frmMain doesn't exist, level 11 and above becomes a message box, or a
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
// 1; -1 when the local zone doesn't tell standard from daylight time, or the date is none.
std::int32_t SystemTimeToLocal(const platform::SystemTime& utcTime, platform::SystemTime& localTime);
// Milliseconds since a counter value, by the access library; failure 53 when it isn't loaded.
float ElapsedMilliseconds(std::int64_t startCount);

// One row of the supporting-files check.
struct Dependency {
    std::string FileName;
    platform::SystemTime ExpectedDate; // a field of 0 isn't tested
    bool InWindowsDirectory = false;
    bool InApplicationDirectory = false;
    bool NewerIsAcceptable = false;
};
void VerifySupportingFiles();
// 0, or -1 when the file doesn't exist. A wrong date is only logged.
std::int32_t VerifySupportingFile(const Dependency& dependency);

// `name` in 8-bit characters, a terminating 0 is added when missing. The result of HookSystemModule.
std::int32_t InitializeModule(ByteArray name);
void InitializeBootloaderModule();
void InitializeDebuggerModule();

// A window's place, in twips (15 to a pixel).
struct WindowPlace {
    std::int32_t Left = 0, Top = 0, Width = 0, Height = 0;
};
// Brings a window back onto the area that is available to it (its parent's client area, or the
// screen for the parent itself). `name` is for the messages.
WindowPlace VerifyFormPosition(const std::string& name, WindowPlace place, std::int32_t availableWidth,
                               std::int32_t availableHeight);

} // namespace basApp

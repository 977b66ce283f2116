// Sections, keys, defaults and bounds of stored settings, for the code that reads them and for the list of all
// (program/KnownSettings.h).
#pragma once

#include <cstdint>

namespace settingKeys {

inline constexpr const char* GLOBAL_SECTION = "Global";
inline constexpr const char* DLL_MESSAGE_LEVEL = "DllMessageLevel";
inline constexpr const char* DEBUG_MESSAGE_LEVEL = "DebugMessageLevel";
inline constexpr const char* DEBUG_LOGGING_LEVEL = "DebugLoggingLevel";
inline constexpr const char* DEFAULT_TRANSACTION_TIMEOUT = "Default1394TransactionTimeout"; // ms
inline constexpr std::int32_t LONGEST_TRANSACTION_TIMEOUT = 3000;
inline constexpr const char* RECORD_FOLDER = "RecordFolder"; // of records of the bus; "": none are written
inline constexpr const char* HELP_HOST = "HelpHost";
inline constexpr const char* BUS = "Bus"; // as bas1394::ParseBus takes it

inline constexpr const char* SELECT_FIRMWARE_SECTION = "frmSelectFirmware";
inline constexpr const char* DEFAULT_LOAD_BEHAVIOR = "DefaultLoadBehavior"; // what a double-click on a package loads
inline constexpr const char* ALWAYS_LOAD_CONFIG = "AlwaysLoadConfig";

inline constexpr const char* SHELL_SECTION = "frmShell";
inline constexpr const char* SHELL_POLLING_INTERVAL = "ShellPollingInterval"; // ms
inline constexpr const char* SCROLL_BACK_LINES = "ScrollBackLines";
inline constexpr std::int32_t DEFAULT_POLLING_INTERVAL = 200, DEFAULT_SCROLL_BACK = 10000;

inline constexpr const char* PARENT_SECTION = "MDIForm1";
inline constexpr const char* AUTO_SCALE_CHILDREN = "AutoScaleChildForms";
inline constexpr const char* MAIN_SECTION = "frmMain";
inline constexpr const char* REMOVE_DRIVER = "RemoveDriverOnShutdown";

inline constexpr const char* SUPPORT_SECTION = "Settings";
inline constexpr const char* SUPPORT_ADDRESS = "SupportEmailAddress";

} // namespace settingKeys

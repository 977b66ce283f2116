// Section and key names of stored settings that more than one layer uses. Any other setting has its names beside
// the code that owns it.
#pragma once

namespace settingKeys {

inline constexpr const char* GLOBAL_SECTION = "Global";
inline constexpr const char* DLL_MESSAGE_LEVEL = "DllMessageLevel";
inline constexpr const char* DEBUG_MESSAGE_LEVEL = "DebugMessageLevel";
inline constexpr const char* DEBUG_LOGGING_LEVEL = "DebugLoggingLevel";
inline constexpr const char* DEFAULT_TRANSACTION_TIMEOUT = "Default1394TransactionTimeout"; // ms

inline constexpr const char* SELECT_FIRMWARE_SECTION = "frmSelectFirmware";
inline constexpr const char* DEFAULT_LOAD_BEHAVIOR = "DefaultLoadBehavior"; // what a double-click on a package loads

} // namespace settingKeys

// Message levels: the number is compared, the name is written.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

inline constexpr std::int32_t LEVEL_DETAIL = 1;  // every transaction, every step
inline constexpr std::int32_t LEVEL_MUTEX = 3;   // acquiring and releasing mutexes
inline constexpr std::int32_t LEVEL_TRACE = 5;   // normal progress; a message that gives no level
inline constexpr std::int32_t LEVEL_WARNING = 7; // a failure that the program survives
inline constexpr std::int32_t LEVEL_WATCH = 9;   // worth seeing in a normal run
inline constexpr std::int32_t LEVEL_ERROR = 11;  // a failed operation
inline constexpr std::int32_t LEVEL_USER = 13;   // what a user should see; the library's debug text
inline constexpr std::int32_t LEVEL_FATAL = 15;  // the program can't go on
inline constexpr std::int32_t LEVEL_NONE = 17;   // as a filter only: nothing passes

namespace basDebug {

// "DETAIL" for 1 and so on, "unknown" for a number without a name.
std::string GetLevelName(std::int32_t number);
// Text that begins with a digit is that number; otherwise the first level word found in it,
// without regard to case; 5 if there is none.
std::int32_t GetLevelNumber(std::string_view level);
inline std::int32_t GetLevelNumber() {
    return LEVEL_TRACE;
}
inline std::int32_t GetLevelNumber(std::int32_t level) {
    return level;
}

} // namespace basDebug

// What the files of the key batch share: nobody else's.
#pragma once

#include "Bytes.h"

#include <cstdint>
#include <string>
#include <utility>

namespace basAutomation {

inline constexpr std::size_t LONGEST_PATH = 4096; // longer ones name nothing, and walking them takes its time

inline std::uint32_t Hex(std::int32_t code) {
    return static_cast<std::uint32_t>(code);
}

bool FileIsThere(const std::string& path);
// Path up to its last separator, and the rest.
std::pair<std::string, std::string> Split(const std::string& path);
void TellMissing(const char* procedure, const std::string& path);
// 0 or -101 when there is no such target.
std::int32_t HandleOfGuid(const ByteArray& deviceId);

} // namespace basAutomation

// What the files of the key batch share: nobody else's.
#pragma once

#include "Bytes.h"
#include "FileName.h"

#include <cstdint>

namespace basAutomation {

inline constexpr std::size_t LONGEST_PATH = 4096; // longer ones name nothing, and walking them takes its time

inline std::uint32_t Hex(std::int32_t code) {
    return static_cast<std::uint32_t>(code);
}

bool FileIsThere(const platform::FileName& file);
// The folder of a file with its separator, or empty.
platform::FileName FolderOf(const platform::FileName& file);
void TellMissing(const char* procedure, const platform::FileName& file);
// 0 or -101 when there is no such target.
std::int32_t HandleOfGuid(const ByteArray& deviceId);

} // namespace basAutomation

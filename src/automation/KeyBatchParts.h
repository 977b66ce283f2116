// Shared by the files of the key batch only.
#pragma once

#include "Bytes.h"
#include "FileName.h"

#include <cstdint>

namespace basAutomation {

inline constexpr std::size_t LONGEST_PATH = 4096; // a longer one can't exist and is slow to resolve

[[nodiscard]] bool FileIsThere(const platform::FileName& file);
// The folder of a file with its separator, or empty.
platform::FileName FolderOf(const platform::FileName& file);
void TellMissing(const char* procedure, const platform::FileName& file);
// 0 or -101 if there is no such target.
std::int32_t HandleOfGuid(const ByteArray& deviceId);

} // namespace basAutomation

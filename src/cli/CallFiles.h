// Files that a command reads and writes. Each procedure ends the call when it answers false.
#pragma once

#include "Bytes.h"
#include "Call.h"

#include <string>

namespace cli {

// Refused if it can't be read, or exceeds 2 GiB.
[[nodiscard]] bool ReadInput(Call& call, const std::string& path, ByteArray& bytes);
// Creates or replaces the file, all or nothing. Failed if it can't be written, and also if the name would mean a file
// that differs in case: on the command line those are two files.
[[nodiscard]] bool WriteOutput(Call& call, const std::string& path, const ByteArray& bytes);

} // namespace cli

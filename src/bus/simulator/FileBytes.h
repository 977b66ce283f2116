// Whole files as bytes.
#pragma once

#include "WireBytes.h"

#include <optional>

namespace simulator {

// Nothing if it is no regular file (a pipe would block, a directory can't be read) or can't be read.
std::optional<Bytes> ReadFile(const std::string& path);
// Replaces the file whole or leaves it as it was; creates its directory. Throws std::exception.
void ReplaceFile(const std::string& path, ByteView content);

} // namespace simulator

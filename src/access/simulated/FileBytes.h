// Whole files as bytes. Only regular files are read or written, and a link in place of a new file isn't followed.
#pragma once

#include "WireBytes.h"

#include <cstdio>
#include <optional>
#include <span>
#include <string>

namespace simulator {

// Empty if it can't be read or isn't a regular file (a pipe would block).
std::optional<Bytes> ReadFile(const std::string& path);
// Replaces the whole file, keeping owner and mode, or leaves it unchanged. Creates its directory. Throws
// std::exception.
void ReplaceFile(const std::string& path, ByteView content);
// What ReplaceFile left of these files in a directory when its process was ended.
void RemoveStaleDrafts(const std::string& directory, std::span<const std::string> names);
// Including its parents. Throws std::exception.
void CreateDirectories(const std::string& path);
// A new file to write line by line; null if it can't be created.
std::FILE* OpenToWrite(const std::string& path);
// The number of a file that is there for its lock only, created if necessary; one of another user may be open for
// reading alone. Negative if it isn't a regular file or can't be created.
[[nodiscard]] int OpenLockFile(const std::string& path);

} // namespace simulator

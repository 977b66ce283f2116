// Whole files as bytes. Only regular files are read or written, and none through a link that lies
// where a new file is expected.
#pragma once

#include "WireBytes.h"

#include <cstdio>
#include <optional>

namespace simulator {

// Nothing if it is no regular file (a pipe would block, a directory can't be read) or can't be read.
std::optional<Bytes> ReadFile(const std::string& path);
// Replaces the file whole or leaves it as it was, with its owner and mode; creates its directory.
// Throws std::exception.
void ReplaceFile(const std::string& path, ByteView content);
// What ReplaceFile left in a directory when its process was ended.
void RemoveStaleDrafts(const std::string& directory);
// With those above it. Throws std::exception.
void CreateDirectories(const std::string& path);
// An empty file to write line by line, null if there can't be one.
std::FILE* OpenToWrite(const std::string& path);

} // namespace simulator

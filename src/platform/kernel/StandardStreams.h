// The three descriptors that a process is started with.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <unistd.h>

namespace platform {

// For the start of a program: closed ones get a stand-in that refuses what is written and has nothing to read, so that
// no other file takes their place, and a reader that goes away is an error instead of a signal.
void OpenStandardStreams();

// All of the text. False, with errno, when it can't be written; a full pipe is waited for.
[[nodiscard]] bool WriteTo(int descriptor, std::string_view text);

// Of a terminal, which may change; 0 for anything else.
[[nodiscard]] int ColumnsOf(int descriptor);

// Whether the environment's locale (LC_ALL, LC_CTYPE, LANG) has UTF-8.
[[nodiscard]] bool LocaleIsUtf8();

// What is there, up to `size` bytes; 0 at the end, negative when it can't be read.
[[nodiscard]] std::int64_t ReadFrom(int descriptor, char* to, std::size_t size);

} // namespace platform

// Text in the program is UTF-8; bytes of devices and files are in the ANSI code page: Windows-1252, with the C1
// controls of the same number for its five unassigned bytes, so that every byte survives the way there and back.
#pragma once

#include "Bytes.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace platform {

std::string TextFromAnsi(const std::uint8_t* bytes, std::size_t count);
std::string TextFromAnsi(const ByteArray& bytes);
// A character that the code page lacks becomes "?"; bytes that aren't valid UTF-8 pass unchanged.
ByteArray AnsiFromText(std::string_view text);

// ASCII only, independent of any locale.
std::string UpperCase(std::string_view text);
std::string LowerCase(std::string_view text);
// Removes blanks from both ends.
std::string Trim(std::string_view text);

// The number at the start of the text, blanks ignored; 0 if there is none.
double LeadingNumber(std::string_view text);
// The whole text as a number, rounded to an integer: failure 13 if it isn't one, 6 if it exceeds 32 bits.
std::int32_t NumberFromText(std::string_view text);

} // namespace platform

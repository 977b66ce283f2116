// Text inside is UTF-8; bytes of devices and files are in the ANSI code page (Windows-1252, its
// five unassigned bytes taken as the C1 controls of the same number), so every byte has one
// character and comes back as itself.
#pragma once

#include "Bytes.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace platform {

std::string TextFromAnsi(const std::uint8_t* bytes, std::size_t count);
std::string TextFromAnsi(const ByteArray& bytes);
// A character that the code page doesn't have becomes "?"; a broken UTF-8 byte goes through as itself.
ByteArray AnsiFromText(std::string_view text);

// ASCII only, independent of any locale.
std::string UpperCase(std::string_view text);
std::string LowerCase(std::string_view text);
// Takes blanks off both ends.
std::string Trim(std::string_view text);

// The number that a text begins with, after blanks: 0 when there is none, as the platform's Val.
double LeadingNumber(std::string_view text);
// The whole text as a whole number: failure 13 when it isn't one, failure 6 out of 32 bits.
std::int32_t NumberFromText(std::string_view text);

} // namespace platform

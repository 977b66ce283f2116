// What is wrong with a firmware package, as far as the file alone can tell.
#pragma once

#include "TwdPackage.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace basBootloader {

[[nodiscard]] bool IsTwdDate(std::string_view text); // YYYYMMDD, a day of the calendar
[[nodiscard]] bool IsTwdTime(std::string_view text); // HHMMSS

std::uint32_t Crc32(const std::uint8_t* bytes, std::size_t count);
// Of a section's content; none when it is absent or reaches outside the file. The whole package has been read.
std::optional<std::uint32_t> ContentCrc(const TwdHeader& header, const TwdSection& section);

// "section image1 has the CRC 0x..., the header tells 0x..."; empty when they are the same, or there is no content.
std::string CrcFault(const TwdHeader& header, const NamedSection& section);

std::string SectionWord(const NamedSection& section); // "image1"
// One text for each fault of a package that has been read whole: "invalid date", "section image1 reaches outside the
// file".
std::vector<std::string> TwdFaults(const TwdHeader& header);

} // namespace basBootloader

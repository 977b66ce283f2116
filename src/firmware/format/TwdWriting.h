// Makes a firmware package from its parts.
#pragma once

#include "TwdPackage.h"

#include <cstdint>
#include <optional>
#include <string>

namespace basBootloader {

inline constexpr std::size_t TWD_INFO_SIZE = 256; // bytes of the code page

// What the header says besides its sections.
struct TwdIdentification {
    std::string Date, Time; // YYYYMMDD and HHMMSS, UTC
    std::uint32_t SoftwareID = 0, SoftwareVersion = 0, HardwareID = 0, VendorID = 0;
    std::string Info; // UTF-8; what exceeds TWD_INFO_SIZE is cut off
};

// A package without sections.
ByteArray NewTwd(const TwdIdentification& identification);
// Appends the content of SECTIONS[section] and fills in its header fields; without a CRC of the target's own it is
// CRC-32. False, with nothing changed, if the package would exceed 2 GiB: offsets and lengths are signed.
[[nodiscard]] bool AppendTwdSection(ByteArray& package, std::size_t section, const ByteArray& content,
                                    std::uint32_t address, std::optional<std::uint32_t> crc);

} // namespace basBootloader

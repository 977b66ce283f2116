// The firmware package file (*.twd): a 352-byte header in front of up to three sections.
#pragma once

#include "Bytes.h"
#include "FileName.h"
#include "basUtils.h"

#include <array>
#include <cstdint>
#include <functional>
#include <string>

inline constexpr std::int32_t TwdMagic = 0x74576C44; // "tWlD", big-endian

struct TwdSection {
    std::int32_t Offset = 0;  // in the file
    std::int32_t Address = 0; // on the target
    std::int32_t Length = 0;  // bytes; 0 or less: no such section
    std::int32_t Crc = 0;     // for the target to judge
};

struct TwdHeader {
    std::int32_t Magic = 0; // TwdMagic in a valid package, 0 after a failed read
    std::int32_t Reserved1 = 0;
    std::array<std::uint8_t, 8> ImageDate{}; // YYYYMMDD, UTC
    std::array<std::uint8_t, 8> ImageTime{}; // HHMMSS and two bytes
    std::int32_t SoftwareID = 0;
    std::int32_t SoftwareVersion = 0;
    std::int32_t HardwareID = 0;
    std::int32_t VendorID = 0;
    std::array<std::uint8_t, 4> Reserved2{};
    std::int32_t Reserved3 = 0;
    TwdSection Image1, Image2, Cne;
    ByteArray InfoBytes;               // 256 bytes
    std::string InfoText;              // UTF-8, up to the first NUL after the first byte
    ByteArray FileData = ByteArray(1); // what was read, index 0 at file offset 0, one 0 after the end
};

struct NamedSection {
    const char* name;
    TwdSection TwdHeader::*section;
};

namespace basBootloader {

inline constexpr NamedSection SECTIONS[] = {
    {"Image1", &TwdHeader::Image1}, {"Image2", &TwdHeader::Image2}, {"CNE", &TwdHeader::Cne}};

inline constexpr std::int32_t PRIVATE_BUILD = 0x00FFFFFF;

// An empty header when there are fewer than 353 bytes (the header and the 0 after a file); only
// Magic when that is wrong. Never reads beyond `data`.
void ByteArrayToTwdStruct(ByteArray data, TwdHeader& header);
[[nodiscard]] bool IsTwdValid(const TwdHeader& header);
// The header alone: FileData holds the first 1001 bytes at most.
void LoadTWDHeader(const platform::FileName& file, TwdHeader& header);
// How the whole package is read.
struct TwdReading {
    std::int64_t limit = 0; // bytes 0 to limit are read; 0: all of them
    const basUtils::ReadProgress* progress = nullptr;
    std::function<void()> begins; // the file looks like a package, and is now read whole
    std::function<void(const std::string& text, std::int32_t level)> log;
};
// True for a valid package; otherwise the header is empty.
bool ReadTwd(const platform::FileName& file, TwdHeader& header, const TwdReading& reading);
// The whole package, with the module's messages. Magic shows whether it worked.
void LoadTWD(const platform::FileName& file, TwdHeader& header);

// Whether a section lies within a file of so many bytes; an absent one always does.
[[nodiscard]] bool LiesInside(const TwdSection& section, std::int64_t fileSize);
// The first section that doesn't lie inside, null if all do. Such a package is cut off or damaged, and
// nothing of it may be loaded: the target erases before the missing bytes are noticed.
[[nodiscard]] const NamedSection* FirstOutside(const TwdHeader& header, std::int64_t fileSize);
// Reads a package without a message. Why it can't be loaded, as the end of "because ...": "it can't
// be read", "its CNE reaches outside the file"; empty when it can.
[[nodiscard]] std::string PackageFault(const std::string& path, TwdHeader& header);

std::string FormatVersion(std::int32_t version);                    // 0x01020304 gives 1.2.3.4
std::string FormatTwdDate(const std::array<std::uint8_t, 8>& date); // 2002-08-31
std::string FormatTwdTime(const std::array<std::uint8_t, 8>& time); // 15:25:03 utc
// The local time "17:25:03" of both; "00:00:00" where it isn't known.
std::string FormatLocalTime(const std::array<std::uint8_t, 8>& date, const std::array<std::uint8_t, 8>& time);
// "2002-08-31 15:25:03 utc / 17:25:03 (local)"; without the local part where it isn't known.
std::string FormatDateTime(const std::array<std::uint8_t, 8>& date, const std::array<std::uint8_t, 8>& time);

} // namespace basBootloader

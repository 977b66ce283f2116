// Conversions between bytes, numbers and text. Byte order is the caller's choice, little-endian by
// default. Arrays start at 0; a quadlet is four bytes (IEEE 1394).
#pragma once

#include "Bytes.h"
#include "Clock.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace basUtils {

// `value` and `mask`, shifted down until the mask's lowest bit is bit 0. `mask` isn't 0.
std::uint32_t ExtractBitField(std::uint32_t value, std::uint32_t mask);
// Signed value of bytes startByte..endByte (default startByte + 3); fewer than four give a smaller
// unsigned number. Failures 30752 (a range that isn't one), 30753 (beyond the array).
std::int32_t ByteArrayToLong(const ByteArray& bytes, std::int32_t startByte = 0,
                             std::optional<std::int32_t> endByte = {}, bool bigEndian = false);
std::int16_t ByteArrayToInt(const ByteArray& bytes, std::int32_t startByte = 0, bool bigEndian = false);
// Writes four bytes; failure 9 when `bytes` is too small. 1.
std::int32_t LongToByteArray(std::int32_t value, ByteArray& bytes, std::int32_t startByte, bool bigEndian = false);
std::int32_t BytesToLong(std::uint8_t b3, std::uint8_t b2, std::uint8_t b1, std::uint8_t b0); // b3 most significant
// Grows `dest` as needed; failure 9 when the source range lies outside `source`. 1.
std::int32_t CopyByteArray(const ByteArray& source, std::int64_t sourceStart, std::int64_t count, ByteArray& dest,
                           std::int64_t destStart);
// The ANSI code of each character, no terminator; grows `bytes`. 1.
std::int32_t StringToBytes(ByteArray& bytes, std::int32_t offset, std::string_view text);
bool ByteArraysEqual(const ByteArray& a, const ByteArray& b);
// Grows to a multiple of four with zeros, then reverses the bytes of each quadlet. 1, or -1 with
// a message box (or a line of the unattended output file).
std::int32_t ChangeEndian(ByteArray& bytes);
// High half times 2^32 plus low half, both taken as signed.
double LargeIntegerToDouble(std::int64_t value);

// `value` in upper-case hex, filled or cut to the template's length: "0000" gives "00FF"; a
// template that begins with "0x" gives that prefix.
std::string FormatHex(std::uint32_t value, std::string_view hexTemplate);
// Two upper-case digits a byte, a blank between groups of groupSize bytes.
std::string ByteArrayToHexString(const ByteArray& bytes, std::int32_t groupSize = 1);
std::string ByteArrayToHexString(const std::uint8_t* bytes, std::size_t count, std::int32_t groupSize = 1);
// Removes blanks, "0x", "&H", CR, LF, then turns each pair of digits into a byte. 1; -1 and one
// zero byte for an empty text. Failure 30742 for an odd number of digits, 13 for what isn't hex.
std::int32_t HexString2Ascii(std::string_view hex, ByteArray& bytes);
// True when the first character is a digit.
bool IsNumericText(std::string_view text);
// The text between "<Name=" and ">" in `options` without its blanks, or "".
std::string GetOption(std::string_view options, std::string_view name);
// Lines of "0x<address>: ", the bytes, their characters, CR LF. Options: "<columnwidth=n>".
std::string FormatHexDump(std::uint32_t startAddress, const ByteArray& bytes, std::string_view options);
// Lines firstLine.. of that dump with `width` bytes a line; they all have to exist.
std::string HexDumpLines(std::uint32_t startAddress, const ByteArray& bytes, std::size_t width, std::size_t firstLine,
                         std::size_t lineCount);

// "yyyy", "mm", "dd", "hh", "nn", "ss" and their short forms.
std::string FormatSystemTime(const platform::SystemTime& systemTime, std::string_view format);
std::string FormatWinDateTime(platform::FileTime fileTime, std::string_view format);
// At the last separator; without one `directory` is empty. 1.
std::int32_t SplitPath(const std::string& path, std::string& directory, std::string& fileName);
// The first <base>.<nnn>.<extension> that doesn't exist, n from 1; "" after a failure.
std::string NewUniqueFilename(const std::string& path);

// What a long read shows; all optional. Values in units of 131072 bytes.
struct ReadProgress {
    std::function<void(std::int32_t maximum)> start; // minimum is 0
    std::function<void(double value)> value;
    std::function<void()> repaint; // before the window system gets its turn
};
// The file's bytes followed by one 0, or bytes 0..maxBytes when that is given and isn't 0.
// 1; -1 for a file that doesn't exist or has fewer than two bytes.
std::int32_t ReadFileBytes(const std::string& path, ByteArray& bytes, std::int64_t maxBytes = 0,
                           const ReadProgress* progress = nullptr);

} // namespace basUtils

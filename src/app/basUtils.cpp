// Bytes and numbers.
#include "basUtils.h"

#include "CodePage.h"
#include "Failure.h"
#include "basApp.h"

#include <algorithm>
#include <bit>

namespace basUtils {

namespace {

constexpr std::int32_t INVALID_BYTE_RANGE = 30752;
constexpr std::int32_t BEYOND_THE_ARRAY = 30753;

// Failure 9 when elements start..start+count-1 don't all lie within `bytes`.
void CheckRange(const ByteArray& bytes, std::int64_t start, std::int64_t count) {
    const auto size = static_cast<std::int64_t>(bytes.size());
    if (start < 0 || count > size || start > size - count)
        platform::Raise(platform::INDEX_OUT_OF_RANGE, "Subscript out of range");
}

void GrowTo(ByteArray& bytes, std::int64_t start, std::int64_t count) {
    if (start < 0)
        platform::Raise(platform::INDEX_OUT_OF_RANGE, "Subscript out of range");
    const std::size_t size = static_cast<std::size_t>(start) + static_cast<std::size_t>(count);
    if (bytes.size() < size)
        bytes.resize(size);
}

// The bytes from startByte to endByte as one number, after checks that name `caller` in their messages.
std::uint32_t NumberFromBytes(const ByteArray& bytes, std::int64_t startByte, std::int64_t endByte, bool bigEndian,
                              const char* caller) {
    if (endByte - startByte > 3 || endByte < startByte) {
        platform::Raise(INVALID_BYTE_RANGE, std::string("PROGRAM ERROR: invalid start and end bytes in ") + caller,
                        "bas1394");
    }
    if (endByte >= static_cast<std::int64_t>(bytes.size())) {
        platform::Raise(BEYOND_THE_ARRAY,
                        std::string("PROGRAM ERROR: ") + caller +
                            " is instructed to read beyond the end of the incoming array!",
                        "bas1394");
    }
    const std::int64_t count = endByte - startByte + 1;
    CheckRange(bytes, startByte, count);
    std::uint32_t number = 0;
    for (std::int64_t i = 0; i < count; ++i)
        number = number << 8 | bytes[static_cast<std::size_t>(bigEndian ? startByte + i : endByte - i)];
    return number;
}

} // namespace

std::uint32_t ExtractBitField(std::uint32_t value, std::uint32_t mask) {
    return mask == 0 ? 0 : (value & mask) >> std::countr_zero(mask);
}

std::int32_t ByteArrayToLong(const ByteArray& bytes, std::int32_t startByte, std::optional<std::int32_t> endByte,
                             bool bigEndian) {
    const std::int64_t lastByte = endByte ? std::int64_t{*endByte} : std::int64_t{startByte} + 3;
    return static_cast<std::int32_t>(NumberFromBytes(bytes, startByte, lastByte, bigEndian, "ByteArrayToLong"));
}

std::int16_t ByteArrayToInt(const ByteArray& bytes, std::int32_t startByte, bool bigEndian) {
    return static_cast<std::int16_t>(
        NumberFromBytes(bytes, startByte, std::int64_t{startByte} + 1, bigEndian, "ByteArrayToInt"));
}

std::int32_t LongToByteArray(std::int32_t value, ByteArray& bytes, std::int32_t startByte, bool bigEndian) {
    CheckRange(bytes, startByte, 4);
    const auto number = static_cast<std::uint32_t>(value);
    for (std::size_t i = 0; i < 4; ++i) {
        const std::size_t place = bigEndian ? 3 - i : i;
        bytes[static_cast<std::size_t>(startByte) + place] = static_cast<std::uint8_t>(number >> (8 * i));
    }
    return 1;
}

std::int32_t BytesToLong(std::uint8_t b3, std::uint8_t b2, std::uint8_t b1, std::uint8_t b0) {
    return static_cast<std::int32_t>(std::uint32_t{b3} << 24 | std::uint32_t{b2} << 16 | std::uint32_t{b1} << 8 | b0);
}

std::int32_t CopyByteArray(const ByteArray& source, std::int64_t sourceStart, std::int64_t count, ByteArray& dest,
                           std::int64_t destStart) {
    if (count <= 0)
        return 1;
    CheckRange(source, sourceStart, count);
    GrowTo(dest, destStart, count);
    const std::uint8_t* from = source.data() + sourceStart; // after the growth: both may be the same array
    std::uint8_t* to = dest.data() + destStart;
    if (to <= from)
        std::copy(from, from + count, to);
    else
        std::copy_backward(from, from + count, to + count);
    return 1;
}

std::int32_t StringToBytes(ByteArray& bytes, std::int32_t offset, std::string_view text) {
    const ByteArray codes = platform::AnsiFromText(text);
    return CopyByteArray(codes, 0, static_cast<std::int64_t>(codes.size()), bytes, offset);
}

bool ByteArraysEqual(const ByteArray& a, const ByteArray& b) {
    return a == b;
}

std::int32_t ChangeEndian(ByteArray& bytes) {
    std::int32_t result = -1;
    platform::Attempt(
        [&] {
            bytes.resize((bytes.size() + 3) / 4 * 4);
            for (auto quadlet = bytes.begin(); quadlet != bytes.end(); quadlet += 4)
                std::reverse(quadlet, quadlet + 4);
            result = 1;
        },
        [](const platform::Failure& failure) {
            basApp::MessageBoxOrStatusFile(
                fmt::format("basUtils.ChangeEndian error #:{}: {}", failure.Number, failure.Description), "ERROR");
        });
    return result;
}

double LargeIntegerToDouble(std::int64_t value) {
    const auto high = static_cast<std::int32_t>(value >> 32);
    const auto low = static_cast<std::int32_t>(value & 0xFFFFFFFF);
    return high * 65536.0 * 65536.0 + low;
}

} // namespace basUtils

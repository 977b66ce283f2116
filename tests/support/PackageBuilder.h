// A small package in memory: the fields at their places in the file, sections after the header.
#pragma once

#include "Bytes.h"

#include <string>

namespace testing_support {

class PackageBuilder {
public:
    PackageBuilder() : bytes_(352) {
        text(0x00, "tWlD").text(0x08, "20020831152503zz");
        number(0x18, 0x1234).number(0x1C, 0x01020304).number(0x20, 17).number(0x24, 0x0F1B);
    }
    PackageBuilder& number(std::size_t offset, std::uint32_t value) {
        for (int i = 0; i < 4; ++i)
            bytes_.at(offset + i) = static_cast<std::uint8_t>(value >> 8 * i);
        return *this;
    }
    PackageBuilder& text(std::size_t offset, const std::string& value) {
        std::copy(value.begin(), value.end(), bytes_.begin() + static_cast<std::ptrdiff_t>(offset));
        return *this;
    }
    PackageBuilder& image(std::uint32_t address, const ByteArray& content, std::uint32_t crc = 0) {
        return section(0x30, address, content, crc);
    }
    PackageBuilder& cne(const ByteArray& content, std::uint32_t crc = 0) { return section(0x50, 0, content, crc); }
    const ByteArray& bytes() const { return bytes_; }

private:
    PackageBuilder& section(std::size_t at, std::uint32_t address, const ByteArray& content, std::uint32_t crc) {
        number(at, static_cast<std::uint32_t>(bytes_.size())).number(at + 4, address);
        number(at + 8, static_cast<std::uint32_t>(content.size())).number(at + 12, crc);
        bytes_.insert(bytes_.end(), content.begin(), content.end());
        return *this;
    }
    ByteArray bytes_;
};

// Content in which every block differs from its neighbours.
inline ByteArray Pattern(std::size_t size) {
    ByteArray bytes(size);
    for (std::size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<std::uint8_t>(i * 7 + i / 251);
    return bytes;
}

} // namespace testing_support

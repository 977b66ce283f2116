#include "TwdWriting.h"

#include "CodePage.h"
#include "TwdChecks.h"

#include <algorithm>
#include <limits>

namespace basBootloader {

namespace {

constexpr std::size_t HEADER_SIZE = 352, SECTION_FIELDS = 0x30, SECTION_FIELDS_SIZE = 16, INFO_OFFSET = 0x60;
constexpr std::size_t LARGEST_PACKAGE = std::numeric_limits<std::int32_t>::max();

void PutQuadlet(ByteArray& package, std::size_t at, std::uint32_t value) {
    basUtils::LongToByteArray(static_cast<std::int32_t>(value), package, static_cast<std::int32_t>(at));
}

} // namespace

ByteArray NewTwd(const TwdIdentification& identification) {
    ByteArray package(HEADER_SIZE);
    basUtils::LongToByteArray(TwdMagic, package, 0, true);
    std::ranges::copy(identification.Date.substr(0, 8), package.begin() + 0x08);
    std::ranges::copy(identification.Time.substr(0, 6), package.begin() + 0x10);
    PutQuadlet(package, 0x18, identification.SoftwareID);
    PutQuadlet(package, 0x1C, identification.SoftwareVersion);
    PutQuadlet(package, 0x20, identification.HardwareID);
    PutQuadlet(package, 0x24, identification.VendorID);
    ByteArray info = platform::AnsiFromText(identification.Info);
    info.resize(TWD_INFO_SIZE);
    std::ranges::copy(info, package.begin() + INFO_OFFSET);
    return package;
}

bool AppendTwdSection(ByteArray& package, std::size_t section, const ByteArray& content, std::uint32_t address,
                      std::optional<std::uint32_t> crc) {
    if (content.size() > LARGEST_PACKAGE - package.size())
        return false;
    const std::size_t fields = SECTION_FIELDS + section * SECTION_FIELDS_SIZE;
    PutQuadlet(package, fields, static_cast<std::uint32_t>(package.size()));
    PutQuadlet(package, fields + 4, address);
    PutQuadlet(package, fields + 8, static_cast<std::uint32_t>(content.size()));
    PutQuadlet(package, fields + 12, crc ? *crc : Crc32(content.data(), content.size()));
    package.insert(package.end(), content.begin(), content.end());
    return true;
}

} // namespace basBootloader

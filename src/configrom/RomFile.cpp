#include "RomFile.h"

#include "basConfigRom.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace basConfigRom {

namespace {

// The bus name "1394" (IEEE 1394-1995, 8.3.2.5.2) reads "4931" when each quadlet is reversed.
bool IsReversed(const ByteArray& image) {
    return image.size() >= 8 && std::string_view(reinterpret_cast<const char*>(image.data()) + 4, 4) == "4931";
}

void ReverseQuadlets(ByteArray& image) {
    for (std::size_t at = 0; at + 4 <= image.size(); at += 4)
        std::reverse(image.begin() + std::ptrdiff_t(at), image.begin() + std::ptrdiff_t(at + 4));
}

} // namespace

ByteArray BigEndianImage(ByteArray image) {
    if (IsReversed(image))
        ReverseQuadlets(image);
    return image;
}

std::int32_t ImageQuadlets::Read(std::uint32_t address, std::int32_t size, ByteArray& bytes) {
    const std::size_t start = address - ROM_BASE;
    const auto length = static_cast<std::size_t>(size);
    if (start >= image_.size() || image_.size() - start < length)
        return READ_ADDRESS_ERROR;
    const auto from = image_.begin() + std::ptrdiff_t(start);
    bytes.assign(from, from + std::ptrdiff_t(length));
    return READ_SUCCESS;
}

std::int32_t ReadRomImage(ByteArray image, ConfigRomRecord& rom) {
    ImageQuadlets source(std::move(image));
    return GetFormattedConfigRom(source, rom);
}

} // namespace basConfigRom

#include "RomFile.h"

#include "basConfigRom.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace basConfigRom {

namespace {

// Whole quadlets of a block. What lies below the base or beyond an entry's reach is no part of the ROM.
void Put(RomImage& image, std::int32_t address, const ByteArray& raw) {
    constexpr std::size_t REACH = 0x4000000;
    const std::size_t start = static_cast<std::uint32_t>(address) - ROM_BASE, size = raw.size() & ~std::size_t{3};
    if (start % 4 != 0 || start > REACH || size == 0)
        return;
    if (image.Bytes.size() < start + size) {
        image.Bytes.resize(start + size);
        image.Known.resize(image.Bytes.size() / 4);
    }
    std::copy_n(raw.begin(), size, image.Bytes.begin() + std::ptrdiff_t(start));
    std::fill_n(image.Known.begin() + std::ptrdiff_t(start / 4), size / 4, true);
}

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

RomImage ImageOf(const ConfigRomRecord& rom) {
    RomImage image;
    Put(image, ROM_BASE, rom.RawData);
    for (const ConfigRomDirectory& directory : rom.Directories) {
        Put(image, directory.Address, directory.RawData);
        for (const ConfigRomLeaf& leaf : directory.Leaves)
            Put(image, leaf.Address, leaf.RawData);
    }
    return image;
}

} // namespace basConfigRom

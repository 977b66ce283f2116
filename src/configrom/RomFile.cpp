#include "RomFile.h"

#include "LibraryCalls.h"
#include "basConfigRom.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

namespace basConfigRom {

RomImageGlobals romImageGlobals;

namespace {

constexpr std::uint16_t ROM_HIGH = 0xFFFF;

std::int32_t ReadFromImage(std::uint32_t, const Twl1394Address* address, std::uint32_t size, std::uint8_t* data,
                           std::uint32_t) {
    const ByteArray& image = romImageGlobals.Image;
    const std::size_t start = address->AddressLow - ROM_BASE;
    if (address->AddressHigh != ROM_HIGH || start >= image.size() || image.size() - start < size)
        return TWL1394_ADDRESS_ERROR;
    std::copy_n(image.data() + start, size, data);
    return TWL1394_SUCCESS;
}

// The bus name "1394" (IEEE 1394-1995, 8.3.2.5.2) reads "4931" when each quadlet is turned.
bool IsTurned(const ByteArray& image) {
    return image.size() >= 8 && std::string_view(reinterpret_cast<const char*>(image.data()) + 4, 4) == "4931";
}

void TurnQuadlets(ByteArray& image) {
    for (std::size_t at = 0; at + 4 <= image.size(); at += 4)
        std::reverse(image.begin() + std::ptrdiff_t(at), image.begin() + std::ptrdiff_t(at + 4));
}

} // namespace

ByteArray BigEndianImage(ByteArray image) {
    if (IsTurned(image))
        TurnQuadlets(image);
    return image;
}

std::int32_t ReadRomImage(ByteArray image, ConfigRomRecord& rom) {
    romImageGlobals.Image = BigEndianImage(std::move(image));
    bas1394::globals = {};
    bas1394::globals.BusEnumerated = true;
    bas1394::library::Operations operations{};
    operations.InterfaceVersion = [] { return TWL1394_INTERFACE_VERSION; };
    operations.AsyncReadWrapper = ReadFromImage;
    std::string reason;
    bas1394::library::BindTo(operations, reason);

    Device& node = bas1394::globals.DeviceTable.front();
    node.Driver = "vdev";
    node.NodeNum = 0;
    node.SelfId.LinkActive = 1;
    const std::int32_t result = GetFormattedConfigRom(0, rom);
    bas1394::library::Unbind();
    romImageGlobals = {};
    return result;
}

} // namespace basConfigRom

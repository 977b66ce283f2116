// A node whose config ROM is arbitrary bytes: reading it stays within its bounds, every query has an answer, and so
// do the checks, with and without the whole image.
#include "LibrarySeam.h"
#include "NodeConfigRom.h"
#include "RomChecks.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <tuple>

namespace {

constexpr std::uint64_t BASE = 0xFFFFF0000400;
constexpr std::size_t MOST_READS = 16384 + 513 + 20; // the reader's bound, one block beyond it, the bus info

struct Rom {
    const std::uint8_t* data = nullptr;
    std::size_t size = 0;
    std::size_t reads = 0;
} image;

std::int32_t Read(std::uint32_t, const Twl1394Address* address, std::uint32_t size, std::uint8_t* data, std::uint32_t) {
    if (++image.reads > MOST_READS)
        std::abort();
    const std::uint64_t start = testing_support::Offset(address) - BASE;
    if (start >= image.size || image.size - start < size)
        return TWL1394_ADDRESS_ERROR;
    std::copy_n(image.data + start, size, data);
    return TWL1394_SUCCESS;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    image = {data, size, 0};
    bas1394::globals = {};
    bas1394::globals.BusEnumerated = true;
    testing_support::BindLibrary(testing_support::Transactions(Read, nullptr));
    Device& node = bas1394::globals.DeviceTable.front();
    testing_support::MakePresent(node, 0);
    ConfigRomRecord& rom = node.ConfigRom;
    std::ignore = basConfigRom::GetFormattedConfigRom(0, rom);
    if (rom.Directories.size() > basConfigRom::MAX_DIRECTORIES ||
        basConfigRom::GetConfigRomGuidText(rom).size() != 17 || basConfigRom::GetHardwareVersion(rom).empty())
        std::abort();
    basConfigRom::ConfigRomIsMinimal(rom);
    basConfigRom::GetConfigRomModelText(rom);
    basConfigRom::GetConfigRomVendorText(rom);
    for (const ByteArray& whole : {ByteArray(), ByteArray(data, data + size)})
        if (const auto found = basConfigRom::CheckConfigRom(rom, whole).size(); found < 1 || found > 2 * MOST_READS)
            std::abort();
    return 0;
}

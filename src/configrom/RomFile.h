// A ROM that lies in a file instead of on a bus, read by the same reader.
#pragma once

#include "ConfigRomRecord.h"
#include "QuadletSource.h"

#include <cstdint>
#include <utility>
#include <vector>

namespace basConfigRom {

// The image with its quadlets big-endian; they may be already.
ByteArray BigEndianImage(ByteArray image);

// An image in memory. In messages it is node 0, and what it doesn't hold is an address error.
class ImageQuadlets : public QuadletSource {
public:
    // `image` holds the quadlets from the ROM's base on: big-endian, or in the order in which Linux exposes a ROM on a
    // little-endian machine (distinguished by the bus name in the second quadlet).
    explicit ImageQuadlets(ByteArray image) : QuadletSource(0, 0), image_(BigEndianImage(std::move(image))) {}
    [[nodiscard]] std::int32_t Read(std::uint32_t address, std::int32_t size, ByteArray& bytes) override;

private:
    ByteArray image_;
};

// The result of GetFormattedConfigRom for such an image.
[[nodiscard]] std::int32_t ReadRomImage(ByteArray image, ConfigRomRecord& rom);

// A ROM from its base to the end of the last block that was read, big-endian.
struct RomImage {
    ByteArray Bytes;         // 0 where nothing is known
    std::vector<bool> Known; // by quadlet
};
// The blocks of a record at their places; the quadlets between them are unknown.
RomImage ImageOf(const ConfigRomRecord& rom);

} // namespace basConfigRom

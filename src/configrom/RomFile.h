// A ROM that lies in a file instead of on a bus, read by the same reader.
#pragma once

#include "ConfigRomRecord.h"
#include "QuadletSource.h"

#include <cstdint>
#include <utility>

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

} // namespace basConfigRom

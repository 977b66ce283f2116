// The flash of a target and the three commands that load it.
#pragma once

#include "TargetState.h"

namespace simulator {

// Answers for a rejected block. A failed write to flash, -3, comes only from faults.
inline constexpr std::int32_t BLOCK_GOOD = 0, BLOCK_WITHOUT_START = -10, BLOCK_OUT_OF_ORDER = -11,
                              BLOCK_OUT_OF_RANGE = -12, BLOCK_OF_WRONG_SIZE = -13;

struct DownloadAnnouncement {
    std::uint8_t imageType = 0;
    ImageIdentity identity;
    std::uint32_t address = 0; // of the image on the target
    std::uint32_t length = 0;  // bytes
    std::uint32_t crc = 0;     // CRC-32
};

struct DownloadBlock {
    std::uint32_t number = 0;
    std::uint32_t address = 0;
    std::uint32_t size = 0; // bytes
};

struct CrcVerdict {
    std::uint32_t crc = 0;
    std::uint32_t validity = 1; // 0 is good
};

class Flash {
public:
    Flash(TargetState& state, std::uint32_t maxBlockSize) : state_(state), maxBlockSize_(maxBlockSize) {}

    static bool HasRoomFor(const DownloadAnnouncement& announcement);
    // Erases the section, for which there must be room; the result is the largest block.
    std::uint32_t Start(const DownloadAnnouncement& announcement);
    // `buffer` is the whole Request Buffer.
    [[nodiscard]] std::int32_t Block(const DownloadBlock& block, ByteView buffer);
    // `badSum` makes the target compute a wrong CRC.
    CrcVerdict End(bool badSum);
    CrcVerdict Check(std::uint8_t imageType) const;

    bool Loading() const { return loading_; }
    std::uint8_t LoadedType() const { return announcement_.imageType; } // of the last Start
    void PowerUp() { loading_ = false; }

private:
    bool IsRepeat(const DownloadBlock& block) const;

    TargetState& state_;
    std::uint32_t maxBlockSize_;
    bool loading_ = false;
    DownloadAnnouncement announcement_;
    std::uint32_t nextNumber_ = 0;
    DownloadBlock last_; // block nextNumber_ - 1
};

} // namespace simulator

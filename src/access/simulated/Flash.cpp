#include "Flash.h"
#include "MemoryMap.h"

#include <zlib.h>

#include <algorithm>

namespace simulator {

static constexpr std::uint32_t SECTION_ROOM = 64u << 20; // bytes

static std::uint32_t Crc32(ByteView bytes) {
    return static_cast<std::uint32_t>(crc32_z(crc32_z(0, nullptr, 0), bytes.data(), bytes.size()));
}

static ImageIdentity NoImage() {
    return {0, 0, ToEightBytes("", '0'), ToEightBytes("", '0')};
}

bool Flash::HasRoomFor(const DownloadAnnouncement& announcement) {
    return announcement.imageType < SECTION_NAMES.size() && announcement.length <= SECTION_ROOM;
}

std::uint32_t Flash::Start(const DownloadAnnouncement& announcement) {
    announcement_ = announcement;
    loading_ = true;
    nextNumber_ = 0;
    last_ = {};
    Section& section = state_.sections[announcement.imageType];
    // The bootloader runs from memory, so it shows its own identity until it is replaced.
    const ImageIdentity identity = announcement.imageType == BOOTLOADER ? section.identity : NoImage();
    section = {identity, {}, 0, false};
    return maxBlockSize_;
}

bool Flash::IsRepeat(const DownloadBlock& block) const {
    return nextNumber_ > 0 && block.number == last_.number && block.address == last_.address &&
           block.size == last_.size;
}

std::int32_t Flash::Block(const DownloadBlock& block, ByteView buffer) {
    if (!loading_)
        return BLOCK_WITHOUT_START;
    Bytes& content = state_.sections[announcement_.imageType].content;
    const bool repeated = IsRepeat(block);
    if (!repeated && block.number != nextNumber_)
        return BLOCK_OUT_OF_ORDER;
    if (block.size < 1 || block.size > buffer.size() || block.size > maxBlockSize_)
        return BLOCK_OF_WRONG_SIZE;
    const std::size_t position = repeated ? content.size() - last_.size : content.size();
    if (block.address - announcement_.address != position || block.size > announcement_.length - position)
        return BLOCK_OUT_OF_RANGE;
    content.resize(position);
    content.insert(content.end(), buffer.begin(), buffer.begin() + block.size);
    last_ = block;
    nextNumber_ = block.number + 1;
    return BLOCK_GOOD;
}

CrcVerdict Flash::End(bool badSum) {
    if (!loading_)
        return {};
    loading_ = false;
    Section& section = state_.sections[announcement_.imageType];
    section.crc = Crc32(section.content);
    if (badSum)
        section.crc = ~section.crc;
    section.valid = section.crc == announcement_.crc && section.content.size() == announcement_.length;
    if (section.valid)
        section.identity = announcement_.identity;
    return Check(announcement_.imageType);
}

CrcVerdict Flash::Check(std::uint8_t imageType) const {
    if (imageType >= state_.sections.size())
        return {};
    const Section& section = state_.sections[imageType];
    return {section.crc, section.valid ? 0u : 1u};
}

} // namespace simulator

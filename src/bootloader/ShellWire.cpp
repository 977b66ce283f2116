#include "ShellWire.h"

#include "basUtils.h"

#include <bit>

namespace basBootloader {

namespace {

constexpr std::int32_t HEAD_BITS = 0xFFFF;
constexpr std::int32_t FAR_BACK = 0x8000; // a head that seems to have advanced this far has restarted
constexpr const char* WRAP_NOTICE = "\r\n *** BUFFER WRAP *** \r\n";

template <class Record> struct Field {
    std::int32_t offset, width;
    bool bigEndian;
    std::int32_t Record::*member;
};

constexpr Field<ShellAnswer> ANSWER_FIELDS[] = {
    {0, 4, false, &ShellAnswer::Received},       {4, 4, false, &ShellAnswer::Status},
    {8, 4, false, &ShellAnswer::CharactersLost}, {12, 2, true, &ShellAnswer::Head},
    {14, 2, true, &ShellAnswer::BufferStart},    {16, 2, true, &ShellAnswer::SizeOfPayload},
    {18, 2, true, &ShellAnswer::Tail},           {20, 4, true, &ShellAnswer::MaxPayload},
    {24, 2, true, &ShellAnswer::TxCharCount},    {26, 2, true, &ShellAnswer::NumBytesCopied}};

std::int32_t Number(const ByteArray& bytes, std::int32_t offset, std::int32_t width, bool bigEndian) {
    return basUtils::ByteArrayToLong(bytes, offset, offset + width - 1, bigEndian);
}

// `count` characters from a position in the ring, all inside it.
void AppendFromRing(ByteArray& characters, const ByteArray& block, std::int32_t position, std::int32_t count) {
    const auto from = block.begin() + SHELL_RING_HEADER_BYTES + position;
    characters.insert(characters.end(), from, from + count);
}

// Characters that were overwritten unread when the head wrapped in its 16 bits.
std::int32_t PassedOver(std::int32_t head, std::int32_t oldHead) {
    const std::int32_t advanced = (head - oldHead) & HEAD_BITS;
    return advanced < FAR_BACK ? advanced : head;
}

} // namespace

ShellAnswer DecodeShellAnswer(const ByteArray& operands) {
    ShellAnswer answer;
    for (const auto& field : ANSWER_FIELDS)
        if (static_cast<std::int32_t>(operands.size()) >= field.offset + field.width)
            answer.*field.member = Number(operands, field.offset, field.width, field.bigEndian);
    return answer;
}

std::string ShellOverflowNotice(std::int32_t charactersLost) {
    return "\r\n\r\n << buffer overflow on target: " + std::to_string(charactersLost) + " characters lost >>\r\n\r\n";
}

bool ShellRingHeader::IsSound() const {
    return std::has_single_bit(static_cast<std::uint32_t>(RingSize())) &&
           RingSize() + SHELL_RING_HEADER_BYTES <= BULK_BUFFER_BYTES;
}

ShellRingHeader DecodeShellRingHeader(const ByteArray& block, bool bigEndian) {
    return {Number(block, 0, 4, bigEndian), Number(block, 4, 2, bigEndian), Number(block, 6, 2, bigEndian)};
}

ShellNews TakeShellNews(const ByteArray& block, const ShellRingHeader& header, std::int32_t oldHead, bool wrapNotices) {
    const std::int32_t ringSize = header.RingSize(), head = header.Head;
    std::int32_t old = oldHead;
    ShellNews news;
    if (head - old >= ringSize) {
        news.Overflow = true;
        news.Lost = head - old - ringSize;
        news.NumNewBytes = ringSize;
        old = head - ringSize;
    } else if (old <= head) {
        news.NumNewBytes = head - old;
    } else {
        news.NumNewBytes = ringSize - (old - head);
    }
    if (news.NumNewBytes < 1) {
        news.Lost = head == old ? 0 : PassedOver(head, old);
        return news;
    }
    const std::int32_t oldPosition = old & header.Mask;
    if (oldPosition + news.NumNewBytes < ringSize) {
        AppendFromRing(news.Characters, block, oldPosition + 1, news.NumNewBytes);
        return news;
    }
    AppendFromRing(news.Characters, block, oldPosition, ringSize - oldPosition);
    if (wrapNotices)
        basUtils::StringToBytes(news.Characters, static_cast<std::int32_t>(news.Characters.size()), WRAP_NOTICE);
    AppendFromRing(news.Characters, block, 0, (head & header.Mask) + 1);
    return news;
}

void UnpadCharacter(ByteArray& characters, bool bigEndian) {
    if (characters.size() == 4 && basUtils::ByteArrayToLong(characters, 0, {}, bigEndian) == characters[3])
        characters.erase(characters.begin(), characters.begin() + 3);
}

constexpr std::size_t DIRECT_WRITE_HEADER = 8;

ByteArray EncodeDirectWrite(const ByteArray& text, bool bigEndian) {
    const auto high = static_cast<std::uint8_t>(text.size() >> 8), low = static_cast<std::uint8_t>(text.size());
    ByteArray block((DIRECT_WRITE_HEADER + text.size() + 3) / 4 * 4);
    block[6] = bigEndian ? high : low;
    block[7] = bigEndian ? low : high;
    std::copy(text.begin(), text.end(), block.begin() + DIRECT_WRITE_HEADER);
    return block;
}

} // namespace basBootloader

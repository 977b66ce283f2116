// The records of the shell channel on the wire. Pure: no bus, no log, no state.
#pragma once

#include "Bytes.h"

#include <cstdint>
#include <string>

namespace basBootloader {

inline constexpr std::int32_t BULK_BUFFER_BYTES = 2048; // of the Request Buffer and the Response Buffer, each

// --- Protocol 1: the answer to command 8. Targets mix both byte orders in one block. ---

struct ShellAnswer {
    std::int32_t Received = 0; // bytes waiting in the Response Buffer
    std::int32_t Status = 0;
    std::int32_t CharactersLost = 0; // on the target since the last read
    std::int32_t Head = 0, BufferStart = 0, SizeOfPayload = 0, Tail = 0;
    std::int32_t MaxPayload = 0, TxCharCount = 0, NumBytesCopied = 0;
};
// Fields that the operands don't reach are 0.
ShellAnswer DecodeShellAnswer(const ByteArray& operands);
// The text for a place where the target had no room left.
std::string ShellOverflowNotice(std::int32_t charactersLost);

// --- Protocols 2 and 0x2000000: a ring in the Response Buffer; the fields of its header have the target's order ---

inline constexpr std::int32_t SHELL_RING_HEADER_BYTES = 8;

struct ShellRingHeader {
    std::int32_t Status = 0;
    std::int32_t Mask = 0; // ring size less 1
    std::int32_t Head = 0; // counts all characters in 16 bits; the last one lies at Head AND Mask

    std::int32_t RingSize() const { return Mask + 1; }
    // A power of two; the ring and its header fit into one read.
    bool IsSound() const;
};
// At least SHELL_RING_HEADER_BYTES bytes.
ShellRingHeader DecodeShellRingHeader(const ByteArray& block, bool bigEndian);

struct ShellNews {
    std::int32_t NumNewBytes = 0; // by the heads; below 1: nothing new
    bool Overflow = false;        // the target has overrun the host
    std::int32_t Lost = 0;        // characters that were overwritten unread
    ByteArray Characters;
};
// `block` is a sound header and its whole ring.
ShellNews TakeShellNews(const ByteArray& block, const ShellRingHeader& header, std::int32_t oldHead, bool wrapNotices);
// A single character that came as a padded quadlet becomes that character.
void UnpadCharacter(ByteArray& characters, bool bigEndian);

// 6 bytes of 0, the length, the text. At most LONGEST_DIRECT_TEXT bytes of text.
inline constexpr std::int32_t LONGEST_DIRECT_TEXT = BULK_BUFFER_BYTES - SHELL_RING_HEADER_BYTES;
ByteArray EncodeDirectWrite(const ByteArray& text, bool bigEndian);

} // namespace basBootloader

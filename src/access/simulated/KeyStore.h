// The named items of a target's persistent store, accessed by the two key commands.
#pragma once

#include "TargetState.h"

namespace simulator {

// Status words of the key commands.
inline constexpr std::uint32_t KEY_GOOD = 0, KEY_UNKNOWN = 1, KEY_BAD_NAME = 2, KEY_BAD_OFFSET = 3;

class KeyStore {
public:
    explicit KeyStore(TargetState& state) : state_(state) {}

    // `operands` as sent. The result is the answer's four words; the bytes go to responseBuffer.
    Bytes Read(ByteView operands, ByteSpan responseBuffer);
    // The result is the answer's three words. `changed`: whether the store must be saved.
    Bytes Write(ByteView operands, ByteView requestBuffer, bool& changed);
    void PowerUp() { name_.clear(); }

private:
    bool TakeName(ByteView operands, std::size_t nameStart);
    bool NameIsComplete(ByteView operands) const;
    std::uint32_t TakeValue(std::uint32_t length, std::uint32_t offset, ByteView requestBuffer);

    TargetState& state_;
    Bytes name_; // the part received so far, with its terminating 0
};

} // namespace simulator

#include "KeyStore.h"

#include <algorithm>

namespace simulator {
namespace {

constexpr std::uint32_t PASS = 128;         // bytes of a value in one pass
constexpr std::uint32_t LONGEST_NAME = 256; // with its terminating 0
constexpr std::uint32_t LONGEST_VALUE = 65536;
constexpr std::uint32_t LONGEST_NAME_BESIDE_VALUE = 36; // a longer name leaves the value for a later pass

std::uint32_t Word(ByteView operands, std::size_t index) {
    return Get32(operands, index * 4, ByteOrder::Little);
}

Bytes Words(std::initializer_list<std::uint32_t> values) {
    Bytes words;
    for (const std::uint32_t value : values)
        Append32(words, value, ByteOrder::Little);
    return words;
}

std::string NameText(const Bytes& name) {
    return {name.begin(), std::find(name.begin(), name.end(), 0)};
}

} // namespace

// The name comes in as many passes as the host needs.
bool KeyStore::TakeName(ByteView operands, std::size_t nameStart) {
    const std::uint32_t length = Word(operands, 0), offset = Word(operands, 1);
    if (length < 2 || length > LONGEST_NAME || offset > length || offset > name_.size())
        return false;
    const ByteView carried = operands.subspan(nameStart);
    const std::size_t size = std::min<std::size_t>(carried.size(), length - offset);
    name_.resize(offset);
    name_.insert(name_.end(), carried.begin(), carried.begin() + static_cast<std::ptrdiff_t>(size));
    return true;
}

// Without its terminating 0, which the announced length includes.
bool KeyStore::NameIsComplete(ByteView operands) const {
    return name_.size() + 1 >= Word(operands, 0);
}

Bytes KeyStore::Read(ByteView operands, ByteSpan responseBuffer) {
    const std::uint32_t offset = Word(operands, 2);
    if (!TakeName(operands, 12) || !NameIsComplete(operands))
        return Words({KEY_BAD_NAME, 0, 0, 0});
    const auto found = state_.keys.find(NameText(name_));
    if (found == state_.keys.end())
        return Words({KEY_UNKNOWN, 0, 0, 0});
    const Bytes& value = found->second;
    const auto size = static_cast<std::uint32_t>(value.size());
    if (offset >= size) {
        // If the name needs one more pass than the value, that pass returns the byte after the value, a 0:
        // otherwise the host would have to read 0 bytes.
        responseBuffer[0] = 0;
        return Words({KEY_GOOD, size, 1, offset});
    }
    const std::uint32_t part = std::min(PASS, size - offset);
    std::copy_n(value.begin() + offset, part, responseBuffer.begin());
    return Words({KEY_GOOD, size, part, offset});
}

std::uint32_t KeyStore::TakeValue(std::uint32_t length, std::uint32_t offset, ByteView requestBuffer) {
    const std::string name = NameText(name_);
    const auto found = state_.keys.find(name);
    const std::size_t held = found == state_.keys.end() || offset == 0 ? 0 : found->second.size();
    if (length > LONGEST_VALUE || offset > length || offset > held)
        return KEY_BAD_OFFSET;
    const std::uint32_t part = std::min(PASS, length - offset);
    Bytes payload(requestBuffer.begin(), requestBuffer.begin() + PASS);
    TurnQuadlets(ByteSpan(payload));
    Bytes& value = state_.keys[name];
    value.resize(offset);
    value.insert(value.end(), payload.begin(), payload.begin() + part);
    return KEY_GOOD;
}

Bytes KeyStore::Write(ByteView operands, ByteView requestBuffer, bool& changed) {
    const std::uint32_t length = Word(operands, 2), offset = Word(operands, 3);
    changed = false;
    if (!TakeName(operands, 16))
        return Words({KEY_BAD_NAME, 0, 0});
    if (Word(operands, 0) - Word(operands, 1) > LONGEST_NAME_BESIDE_VALUE)
        return Words({KEY_GOOD, length, 0});
    if (!NameIsComplete(operands))
        return Words({KEY_BAD_NAME, 0, 0});
    const bool valueComplete = offset >= length && length > 0; // only the rest of the name is missing
    const std::uint32_t status = valueComplete ? KEY_GOOD : TakeValue(length, offset, requestBuffer);
    changed = status == KEY_GOOD && !valueComplete;
    return Words({status, status == KEY_GOOD ? length : 0, offset});
}

} // namespace simulator

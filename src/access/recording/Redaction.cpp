#include "Redaction.h"

#include "RecordFormat.h"
#include "Sha256.h"

#include <algorithm>
#include <charconv>

namespace recording {

namespace {

// Addresses of a node; the bulk buffers follow the request and the response without a gap.
constexpr std::uint64_t ROM = 0xFFFFF0000400, INFO = 0xFFFFC8020000, REQUEST = 0xFFFFC8021000,
                        REQUEST_BUFFER = 0xFFFFC8021040, RESPONSE = 0xFFFFC8029000, RESPONSE_BUFFER = 0xFFFFC8029040,
                        BUFFER_SIZE = 2048;
constexpr std::size_t INFO_PROTOCOL = 8, INFO_GUID = 16, ROM_GUID = 12, HEADER = 8, GUID_SIZE = 8;
constexpr std::uint8_t PROGRAM_GUID = 10, PROGRAM_MAC = 11, SET_DEBUG_GUID = 14, GET_DEBUG_GUID = 15;
constexpr std::size_t DIGEST_SIZE = 16; // the first half of the digest
constexpr std::size_t GUID_DIGITS = 16;

bool Overlaps(const Entry& entry, std::uint64_t start) {
    return entry.address < start + BUFFER_SIZE && start < entry.address + std::max<std::uint64_t>(entry.size, 1);
}

bool CrossesBuffer(const Entry& entry) {
    // A request that is longer than its area only runs over with a name.
    return entry.kind == Kind::Write ? entry.address >= REQUEST_BUFFER && Overlaps(entry, REQUEST_BUFFER)
                                     : Overlaps(entry, RESPONSE_BUFFER);
}

bool IsHexDigit(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}

// A path may have blanks: all from the first slash of a line to its last one goes.
std::string OnlyFileNames(std::string text) {
    for (std::size_t line = 0; line < text.size();) {
        const std::size_t first = text.find('/', line);
        if (first < text.find('\n', line))
            text.erase(first, text.rfind('/', text.find('\n', line)) + 1 - first);
        line = std::min(text.find('\n', line), text.size()) + 1;
    }
    return text;
}

} // namespace

bool Redaction::Apply(Entry& entry) {
    switch (entry.kind) {
    case Kind::About:
        if (AboutValue(entry.text, ABOUT_REDACTED).empty())
            entry.text = OnlyFileNames(entry.text) + ABOUT_REDACTED + "=1\n";
        break;
    case Kind::Description:
        return false; // it has GUIDs, keys and paths
    case Kind::DebugText:
        entry.text = WithoutGuids(OnlyFileNames(std::move(entry.text)));
        break;
    case Kind::Read:
    case Kind::Write:
        ApplyToData(entry);
        break;
    default:
        break;
    }
    return true;
}

void Redaction::TakeOver(const Entry& entry) {
    Entry copy = entry;
    takesOver_ = knowsIssued_ = true;
    Apply(copy);
    takesOver_ = false;
}

void Redaction::ApplyToData(Entry& entry) {
    Bytes& data = entry.data;
    if (data.empty() || entry.isDigest)
        return;
    if (CrossesBuffer(entry)) {
        const auto digest = Sha256(data);
        data.assign(digest.begin(), digest.begin() + DIGEST_SIZE);
        entry.isDigest = true;
    } else if (entry.kind == Kind::Read && entry.address >= ROM && entry.address < ROM + ROM_GUID + GUID_SIZE) {
        ApplyToRom(entry);
    } else if (entry.kind == Kind::Read && entry.address == INFO && data.size() >= INFO_GUID + GUID_SIZE) {
        const bool bigEndian = data[INFO_PROTOCOL + 3] != 0; // version 2 of targets that store it so
        ReplaceAt(data, INFO_GUID, bigEndian ? Order::Natural : Order::TurnedQuadlets);
    } else if (entry.address == (entry.kind == Kind::Write ? REQUEST : RESPONSE)) {
        ApplyToExchange(entry);
    }
}

void Redaction::ApplyToExchange(Entry& entry) {
    Bytes& data = entry.data;
    if (data.size() < HEADER)
        return;
    const bool isRequest = entry.kind == Kind::Write;
    const std::uint8_t code = data[6];
    const std::size_t announced = HEADER + std::size_t{4} * data[7];
    if (!isRequest && announced < data.size()) // what an earlier answer left there
        std::fill(data.begin() + static_cast<std::ptrdiff_t>(announced), data.end(), std::uint8_t{0});
    if (std::min(announced, data.size()) < HEADER + GUID_SIZE)
        return;
    if (isRequest && (code == PROGRAM_GUID || code == PROGRAM_MAC))
        ReplaceAt(data, HEADER, Order::TurnedQuadlets);
    else if (code == (isRequest ? SET_DEBUG_GUID : GET_DEBUG_GUID))
        ReplaceAt(data, HEADER, Order::Natural);
}

// The two halves are read one by one, or in a block with the rest.
void Redaction::ApplyToRom(Entry& entry) {
    Bytes& data = entry.data;
    const std::size_t first = static_cast<std::size_t>(entry.address - ROM);
    const auto half = [&](std::size_t offset) {
        const std::size_t at = offset - first;
        return std::uint32_t{data[at]} << 24 | std::uint32_t{data[at + 1]} << 16 | std::uint32_t{data[at + 2]} << 8 |
               data[at + 3];
    };
    const auto put = [&](std::size_t offset, std::uint64_t value) {
        for (std::size_t i = 0; i < 4; ++i)
            data[offset - first + i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
    };
    const auto holds = [&](std::size_t offset) { return offset >= first && offset + 4 <= first + data.size(); };
    if (holds(ROM_GUID)) {
        const std::uint32_t upper = upperHalves_[entry.node] = half(ROM_GUID);
        put(ROM_GUID, upper & 0xFFFFFF00);
    }
    if (holds(ROM_GUID + 4))
        put(ROM_GUID + 4, CounterOf(std::uint64_t{upperHalves_[entry.node]} << 32 | half(ROM_GUID + 4)));
}

void Redaction::ReplaceAt(Bytes& data, std::size_t offset, Order order) {
    const auto turn = [&] {
        if (order == Order::TurnedQuadlets)
            for (std::size_t quadlet = offset; quadlet < offset + GUID_SIZE; quadlet += 4)
                std::reverse(data.begin() + static_cast<std::ptrdiff_t>(quadlet),
                             data.begin() + static_cast<std::ptrdiff_t>(quadlet + 4));
    };
    turn();
    std::uint64_t guid = 0;
    for (std::size_t i = 0; i < GUID_SIZE; ++i)
        guid = guid << 8 | data[offset + i];
    const std::uint64_t counter = CounterOf(guid);
    for (std::size_t i = 0; i < GUID_SIZE; ++i)
        data[offset + i] = static_cast<std::uint8_t>(counter >> (56 - 8 * i));
    turn();
}

// 16 digits that stand alone.
std::string Redaction::WithoutGuids(const std::string& text) {
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = at;
        while (end < text.size() && IsHexDigit(text[end]))
            ++end;
        std::uint64_t guid = 0;
        if (end - at == GUID_DIGITS) {
            std::from_chars(text.data() + at, text.data() + end, guid, 16);
            char digits[GUID_DIGITS + 1];
            const auto [last, error] = std::to_chars(digits, digits + GUID_DIGITS, CounterOf(guid), 16);
            result.append(GUID_DIGITS - static_cast<std::size_t>(last - digits), '0').append(digits, last);
        } else {
            end = std::max(end, at + 1);
            result.append(text, at, end - at);
        }
        at = end;
    }
    return result;
}

std::uint64_t Redaction::CounterOf(std::uint64_t guid) {
    constexpr std::uint64_t VENDOR = 0xFFFFFF0000000000;
    if (guid == 0 || (knowsIssued_ && issued_.contains(guid)))
        return guid;
    const auto known = counters_.find(guid);
    if (known != counters_.end())
        return known->second;
    const std::uint64_t counter = takesOver_ ? guid : (guid & VENDOR) | (issued_.size() + 1);
    issued_.insert(counter);
    return counters_[guid] = counter;
}

} // namespace recording

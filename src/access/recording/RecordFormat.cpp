#include "RecordFormat.h"

#include <array>

namespace recording {

namespace {

constexpr std::uint8_t DIGEST_BIT = 0x80;
constexpr std::size_t CRC_BYTES = 4, LONGEST_VARINT = 10;

enum Field : unsigned { RESULT = 1, NODE = 2, ADDRESS = 4, SIZE = 8, TIMEOUT = 16, NUMBER = 32, DATA = 64, TEXT = 128 };

struct KindRow {
    Kind kind;
    const char* name;
    unsigned fields;
};

constexpr KindRow KINDS[] = {
    {Kind::About, "about", TEXT},
    {Kind::Description, "description", TEXT},
    {Kind::Notice, "notice", NUMBER},
    {Kind::DebugText, "debug text", TEXT},
    {Kind::RegisterClient, "RegisterClient", RESULT},
    {Kind::DeRegisterClient, "DeRegisterClient", RESULT},
    {Kind::HookSystemModule, "HookSystemModule", RESULT | TEXT},
    {Kind::SetDebugSpew, "SetDebugSpew", RESULT | NUMBER},
    {Kind::GetVirtualDeviceList, "GetVirtualDeviceList", RESULT | TEXT},
    {Kind::AddVirtualDriver, "AddVirtualDriver", RESULT | TEXT},
    {Kind::RemoveVirtualDriver, "RemoveVirtualDriver", RESULT | TEXT},
    {Kind::Get1394Address, "Get1394AddressFromDeviceObject", RESULT | NUMBER},
    {Kind::GetLocalHostInformation, "GetLocalHostInformation", RESULT | ADDRESS | SIZE | NUMBER | DATA},
    {Kind::BusReset, "BusReset", RESULT | NUMBER},
    {Kind::AllocateAddressRange, "AllocateAddressRange", RESULT | ADDRESS | SIZE | NUMBER},
    {Kind::FreeAddressRange, "FreeAddressRange", RESULT | NUMBER},
    {Kind::Read, "read", RESULT | NODE | ADDRESS | SIZE | TIMEOUT | DATA},
    {Kind::Write, "write", RESULT | NODE | ADDRESS | SIZE | TIMEOUT | DATA},
};

const KindRow* RowOf(Kind kind) {
    for (const KindRow& row : KINDS)
        if (row.kind == kind)
            return &row;
    return nullptr;
}

std::uint32_t Crc32(ByteView bytes) {
    static const auto table = [] {
        std::array<std::uint32_t, 256> made{};
        for (std::uint32_t i = 0; i < made.size(); ++i) {
            made[i] = i;
            for (int bit = 0; bit < 8; ++bit)
                made[i] = (made[i] >> 1) ^ ((made[i] & 1) != 0 ? 0xEDB88320u : 0);
        }
        return made;
    }();
    std::uint32_t crc = 0xFFFFFFFF;
    for (const std::uint8_t byte : bytes)
        crc = table[(crc ^ byte) & 0xFF] ^ (crc >> 8);
    return ~crc;
}

std::uint64_t Zigzag(std::int64_t value) {
    return static_cast<std::uint64_t>(value) << 1 ^ (value < 0 ? ~std::uint64_t{0} : 0);
}

std::int64_t Unzigzag(std::uint64_t value) {
    return static_cast<std::int64_t>(value >> 1 ^ ((value & 1) != 0 ? ~std::uint64_t{0} : 0));
}

void Put(Bytes& bytes, std::uint64_t value) {
    for (; value >= 0x80; value >>= 7)
        bytes.push_back(static_cast<std::uint8_t>(value | 0x80));
    bytes.push_back(static_cast<std::uint8_t>(value));
}

template <class Content> void PutContent(Bytes& bytes, const Content& content) {
    Put(bytes, content.size());
    bytes.insert(bytes.end(), content.begin(), content.end());
}

Bytes BodyOf(const Entry& entry, unsigned fields, std::int64_t previousEnd) {
    Bytes body{static_cast<std::uint8_t>(static_cast<unsigned>(entry.kind) | (entry.isDigest ? DIGEST_BIT : 0))};
    Put(body, Zigzag(entry.end - previousEnd));
    Put(body, static_cast<std::uint64_t>(entry.end - entry.start));
    if (fields & RESULT)
        Put(body, Zigzag(entry.result));
    for (const auto& [field, value] : {std::pair<unsigned, std::uint64_t>{NODE, entry.node},
                                       {ADDRESS, entry.address},
                                       {SIZE, entry.size},
                                       {TIMEOUT, entry.timeoutMs},
                                       {NUMBER, entry.number}})
        if (fields & field)
            Put(body, value);
    if (fields & DATA)
        PutContent(body, entry.data);
    if (fields & TEXT)
        PutContent(body, entry.text);
    return body;
}

// Takes one value after the other; once one isn't there, nothing is.
class BodyReader {
public:
    explicit BodyReader(ByteView bytes) : bytes_(bytes) {}

    std::uint64_t Number() {
        std::uint64_t value = 0;
        for (unsigned shift = 0; shift < 7 * LONGEST_VARINT && !bytes_.empty(); shift += 7) {
            const std::uint8_t byte = bytes_.front();
            bytes_ = bytes_.subspan(1);
            value |= std::uint64_t{byte & 0x7Fu} << shift;
            if ((byte & 0x80) == 0)
                return value;
        }
        good_ = false;
        return 0;
    }
    std::uint32_t Number32() {
        const std::uint64_t value = Number();
        good_ = good_ && value <= UINT32_MAX;
        return static_cast<std::uint32_t>(value);
    }
    ByteView Content() {
        const std::uint64_t size = Number();
        good_ = good_ && size <= bytes_.size();
        const ByteView content = good_ ? bytes_.first(static_cast<std::size_t>(size)) : ByteView();
        bytes_ = bytes_.subspan(content.size());
        return content;
    }
    [[nodiscard]] bool ReadAll() const { return good_ && bytes_.empty(); }

private:
    ByteView bytes_;
    bool good_ = true;
};

// Times stay within what can be added: some 292,000 years.
bool TakeTimes(BodyReader& read, Entry& entry, std::int64_t previousEnd) {
    const std::int64_t delta = Unzigzag(read.Number());
    const std::uint64_t duration = read.Number();
    if (__builtin_add_overflow(previousEnd, delta, &entry.end) || entry.end < 0 ||
        duration > static_cast<std::uint64_t>(entry.end))
        return false;
    entry.start = entry.end - static_cast<std::int64_t>(duration);
    return true;
}

bool TakeBody(ByteView body, std::int64_t previousEnd, Entry& entry) {
    BodyReader read(body.subspan(1));
    entry.kind = static_cast<Kind>(body[0] & ~DIGEST_BIT);
    entry.isDigest = (body[0] & DIGEST_BIT) != 0;
    const KindRow* row = RowOf(entry.kind);
    if (row == nullptr || !TakeTimes(read, entry, previousEnd))
        return false;
    if (row->fields & RESULT)
        entry.result = static_cast<std::int32_t>(Unzigzag(read.Number32()));
    if (row->fields & NODE)
        entry.node = read.Number32();
    if (row->fields & ADDRESS)
        entry.address = read.Number();
    for (const auto& [field, member] : {std::pair<unsigned, std::uint32_t Entry::*>{SIZE, &Entry::size},
                                        {TIMEOUT, &Entry::timeoutMs},
                                        {NUMBER, &Entry::number}})
        if (row->fields & field)
            entry.*member = read.Number32();
    if (row->fields & DATA) {
        const ByteView data = read.Content();
        entry.data.assign(data.begin(), data.end());
    }
    if (row->fields & TEXT) {
        const ByteView text = read.Content();
        entry.text.assign(text.begin(), text.end());
    }
    return read.ReadAll();
}

// The length of the body and of itself; false without a whole one.
bool TakeLength(ByteView bytes, std::size_t& length, std::size_t& size, Fault& fault) {
    length = size = 0;
    for (const std::uint8_t byte : bytes.first(std::min(bytes.size(), std::size_t{3}))) {
        length |= std::size_t{byte & 0x7Fu} << (7 * size++);
        if ((byte & 0x80) == 0) {
            fault = length > 0 && length <= LARGEST_BODY ? Fault::None : Fault::Damaged;
            return fault == Fault::None;
        }
    }
    fault = size < 3 ? Fault::Cut : Fault::Damaged;
    return false;
}

} // namespace

const char* NameOf(Kind kind) {
    const KindRow* row = RowOf(kind);
    return row == nullptr ? nullptr : row->name;
}

std::string AboutValue(std::string_view text, std::string_view name) {
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        const std::string_view line = text.substr(at, end - at);
        if (line.starts_with(name) && line.substr(name.size()).starts_with('='))
            return std::string(line.substr(name.size() + 1));
        at = end + 1;
    }
    return {};
}

Bytes Framed(ByteView body) {
    Bytes bytes;
    PutContent(bytes, body);
    for (std::uint32_t i = 0, crc = Crc32(bytes); i < CRC_BYTES; ++i)
        bytes.push_back(static_cast<std::uint8_t>(crc >> (8 * i)));
    return bytes;
}

Bytes Encode(const Entry& entry, std::int64_t previousEnd) {
    const KindRow* row = RowOf(entry.kind);
    if (row == nullptr)
        return {};
    const Bytes body = BodyOf(entry, row->fields, previousEnd);
    return body.size() > LARGEST_BODY ? Bytes() : Framed(body);
}

std::optional<Decoded> Decode(ByteView bytes, std::int64_t previousEnd, Fault& fault) {
    std::size_t length = 0, start = 0;
    if (!TakeLength(bytes, length, start, fault))
        return std::nullopt;
    const std::size_t end = start + length;
    fault = Fault::Cut;
    if (bytes.size() < end + CRC_BYTES)
        return std::nullopt;
    fault = Fault::Damaged;
    std::uint32_t crc = 0;
    for (std::size_t i = 0; i < CRC_BYTES; ++i)
        crc |= std::uint32_t{bytes[end + i]} << (8 * i);
    Decoded decoded{{}, end + CRC_BYTES};
    if (crc != Crc32(bytes.first(end)) || !TakeBody(bytes.subspan(start, length), previousEnd, decoded.entry))
        return std::nullopt;
    fault = Fault::None;
    return decoded;
}

} // namespace recording

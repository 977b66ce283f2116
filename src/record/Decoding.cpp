#include "Decoding.h"

#include "CodePage.h"
#include "CommandNames.h"
#include "ShellWire.h"
#include "basBootloader.h"
#include "basUtils.h"

#include <algorithm>
#include <array>

namespace record {

namespace {

using recording::Bytes;
using recording::Entry;
using recording::Kind;

enum class Format { Number, Hex, Number16, Byte, Image, Text8, Guid, TurnedGuid, Name };

struct FieldRow {
    const char* name;
    std::size_t offset; // among the operands
    Format format;
};

struct CommandRow {
    std::int32_t code;
    std::vector<FieldRow> request, answer;
};

// Numbers are little-endian but for Number16, which only answers to ReadShellCharacters have.
const CommandRow COMMANDS[] = {
    {2, {{"mode", 0, Format::Byte}}, {}},
    {3, {{"image", 0, Format::Image}}, {{"crc", 0, Format::Hex}, {"validity", 4, Format::Hex}}},
    {4,
     {{"image", 0, Format::Image},
      {"date", 4, Format::Text8},
      {"time", 12, Format::Text8},
      {"softwareId", 20, Format::Hex},
      {"softwareVersion", 24, Format::Hex},
      {"address", 28, Format::Hex},
      {"length", 32, Format::Number},
      {"crc", 36, Format::Hex}},
     {{"maxBlockSize", 0, Format::Number}}},
    {5,
     {{"block", 0, Format::Number}, {"address", 4, Format::Hex}, {"size", 8, Format::Number}},
     {{"block", 0, Format::Number}, {"status", 4, Format::Number}}},
    {6, {}, {{"crc", 0, Format::Hex}, {"validity", 4, Format::Hex}}},
    {7, {{"argument1", 0, Format::Number}, {"argument2", 4, Format::Number}}, {}},
    {8,
     {},
     {{"received", 0, Format::Number},
      {"status", 4, Format::Hex},
      {"lost", 8, Format::Number},
      {"head", 12, Format::Number16},
      {"start", 14, Format::Number16},
      {"payload", 16, Format::Number16},
      {"tail", 18, Format::Number16},
      {"written", 24, Format::Number16},
      {"copied", 26, Format::Number16}}},
    {9, {{"length", 0, Format::Number}}, {}},
    {10, {{"guid", 0, Format::TurnedGuid}}, {}},
    {11, {{"mac", 0, Format::TurnedGuid}}, {}},
    {14, {{"guid", 0, Format::Guid}}, {}},
    {15, {}, {{"guid", 0, Format::Guid}}},
    {17, {{"image", 0, Format::Image}}, {{"crcFlag", 0, Format::Hex}}},
    {18,
     {{"nameLength", 0, Format::Number},
      {"nameOffset", 4, Format::Number},
      {"offset", 8, Format::Number},
      {"name", 12, Format::Name}},
     {{"status", 0, Format::Number},
      {"size", 4, Format::Number},
      {"part", 8, Format::Number},
      {"offset", 12, Format::Number}}},
    {19,
     {{"nameLength", 0, Format::Number},
      {"nameOffset", 4, Format::Number},
      {"length", 8, Format::Number},
      {"offset", 12, Format::Number},
      {"name", 16, Format::Name}},
     {{"status", 0, Format::Number}, {"size", 4, Format::Number}, {"offset", 8, Format::Number}}},
};

std::size_t SizeOf(Format format) {
    switch (format) {
    case Format::Byte:
    case Format::Name:
        return 1;
    case Format::Number16:
        return 2;
    case Format::Number:
    case Format::Hex:
    case Format::Image:
        return 4;
    default:
        return 8;
    }
}

std::string Readable(const std::uint8_t* bytes, std::size_t size) {
    const std::uint8_t* end = std::find(bytes, bytes + size, std::uint8_t{0});
    return platform::Trim(platform::TextFromAnsi(bytes, static_cast<std::size_t>(end - bytes)));
}

template <class Content> std::string HexOf(const Content& bytes) {
    return fmt::format("{:02X}", fmt::join(bytes, ""));
}

Field FieldOf(const FieldRow& row, const Bytes& operands) {
    const std::uint8_t* at = operands.data() + row.offset;
    const std::uint32_t word = Little(operands, row.offset);
    switch (row.format) {
    case Format::Number:
        return {row.name, std::to_string(static_cast<std::int32_t>(word)), true};
    case Format::Number16:
        return {row.name, std::to_string(at[0] << 8 | at[1]), true};
    case Format::Byte:
        return {row.name, std::to_string(at[0]), true};
    case Format::Hex:
        return {row.name, fmt::format("0x{:08X}", word)};
    case Format::Image:
        return {row.name, platform::LowerCase(basBootloader::FirmwareImageTypeLookup(static_cast<std::int32_t>(word)))};
    case Format::Text8:
        return {row.name, Readable(at, 8)};
    case Format::Name:
        return {row.name, Readable(at, operands.size() - row.offset)};
    case Format::Guid:
    case Format::TurnedGuid:
        break;
    }
    ByteArray guid(at, at + 8);
    if (row.format == Format::TurnedGuid)
        basUtils::ChangeEndian(guid);
    return {row.name, HexOf(guid)};
}

// Those that the operands reach.
void AddFields(Meaning& meaning, const std::vector<FieldRow>& rows, const Bytes& operands) {
    for (const FieldRow& row : rows)
        if (row.offset + SizeOf(row.format) <= operands.size())
            meaning.Fields.push_back(FieldOf(row, operands));
}

const CommandRow* RowOf(std::int32_t code) {
    const auto* row = std::ranges::find(COMMANDS, code, &CommandRow::code);
    return row == std::end(COMMANDS) ? nullptr : row;
}

std::string CommandName(std::uint8_t code) {
    const char* name = basBootloader::NameOfCommand(code);
    return name == nullptr ? fmt::format("command {}", code) : name;
}

Bytes OperandsOf(const Entry& entry, const Header& header) {
    const auto first = entry.data.begin() + HEADER_SIZE;
    const std::size_t announced = std::size_t{4} * header.quadlets;
    const std::size_t size = std::min(entry.data.size() - HEADER_SIZE, announced);
    return {first, first + static_cast<std::ptrdiff_t>(size)};
}

bool Overlaps(const Entry& entry, std::uint64_t start, std::uint64_t size) {
    return entry.address >= start && entry.address < start + size;
}

struct Region {
    std::uint64_t start, size;
    const char* name;
};
constexpr Region REGIONS[] = {{ROM, ROM_END - ROM, "config ROM"},
                              {INFO, INFO_SIZE, "info registers"},
                              {REQUEST, REQUEST_BUFFER - REQUEST, "request"},
                              {REQUEST_BUFFER, BUFFER_SIZE, "request buffer"},
                              {RESPONSE, RESPONSE_BUFFER - RESPONSE, "response"},
                              {RESPONSE_BUFFER, BUFFER_SIZE, "response buffer"},
                              {0xFFFFC8000000, 8, "debugger's probe"},
                              {0xFFFFC8010000, 8, "debugger's answer"}};

} // namespace

std::string TextOf(const Meaning& meaning) {
    std::string text = meaning.Name;
    for (const Field& field : meaning.Fields)
        text += fmt::format("{} {} {}", &field == meaning.Fields.data() ? ":" : ",", field.Name, field.Value);
    return text;
}

Meaning Decoder::Decode(const Entry& entry) {
    if (!recording::IsTransaction(entry.kind))
        return {};
    if (const std::optional<Header> header = HeaderOf(entry))
        return entry.kind == Kind::Write ? Request(entry, *header) : Answer(entry, *header);
    if (entry.kind == Kind::Read && entry.address == INFO && entry.data.size() >= INFO_SIZE)
        return Info(entry);
    if (entry.kind == Kind::Read && entry.address == RESPONSE_BUFFER)
        return ResponseBuffer(entry);
    for (const Region& region : REGIONS)
        if (Overlaps(entry, region.start, region.size))
            return entry.address == region.start
                       ? Meaning{region.name, {}}
                       : Meaning{region.name, {{"offset", std::to_string(entry.address - region.start), true}}};
    return {};
}

Meaning Decoder::Request(const Entry& entry, const Header& header) {
    nodes_[entry.node].request = header;
    Meaning meaning{CommandName(header.code), {{"id", std::to_string(header.id), true}}};
    if (const CommandRow* row = RowOf(header.code))
        AddFields(meaning, row->request, OperandsOf(entry, header));
    return meaning;
}

Meaning Decoder::Answer(const Entry& entry, const Header& header) {
    const bool isAnswer = header == nodes_[entry.node].request;
    Meaning meaning{(isAnswer ? "answer to " : "not yet an answer; still that to ") + CommandName(header.code),
                    {{"id", std::to_string(header.id), true}}};
    const CommandRow* row = RowOf(header.code);
    if (isAnswer && row != nullptr)
        AddFields(meaning, row->answer, OperandsOf(entry, header));
    return meaning;
}

Meaning Decoder::Info(const Entry& entry) {
    const std::uint32_t protocol = nodes_[entry.node].protocol = Little(entry.data, 8);
    const auto info = basBootloader::DecodeInfoRegisters(entry.data, static_cast<std::int32_t>(protocol) ==
                                                                         basBootloader::BIG_ENDIAN_PROTOCOL);
    return {"info registers",
            {{"guid", HexOf(info.GUID)},
             {"protocol", std::to_string(protocol), true},
             {"bootloaderVersion", std::to_string(info.BootloaderVersion), true},
             {"hardwareModelId", std::to_string(info.HardwareModelID), true},
             {"applicationId", std::to_string(info.ApplicationID), true},
             {"applicationVersion", fmt::format("0x{:08X}", static_cast<std::uint32_t>(info.ApplicationVersion))}}};
}

// Of the protocols whose consoles have a ring there.
Meaning Decoder::ResponseBuffer(const Entry& entry) {
    Meaning meaning{"response buffer", {}};
    const auto protocol = static_cast<std::int32_t>(nodes_[entry.node].protocol);
    const bool bigEndian = protocol == basBootloader::BIG_ENDIAN_PROTOCOL;
    if ((protocol != 2 && !bigEndian) || entry.isDigest ||
        entry.data.size() < static_cast<std::size_t>(basBootloader::SHELL_RING_HEADER_BYTES))
        return meaning;
    const auto ring = basBootloader::DecodeShellRingHeader(entry.data, bigEndian);
    if (!ring.IsSound())
        return meaning;
    return {"console ring",
            {{"status", fmt::format("0x{:08X}", static_cast<std::uint32_t>(ring.Status))},
             {"size", std::to_string(ring.RingSize()), true},
             {"head", std::to_string(ring.Head), true},
             {"index", std::to_string(ring.Head & ring.Mask), true}}};
}

} // namespace record

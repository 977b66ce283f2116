#include "RomImage.h"
#include "FileBytes.h"

#include <algorithm>
#include <stdexcept>

namespace simulator {
namespace {

constexpr std::size_t LARGEST_IMAGE = 65536;

// Keys with their type in the top two bits (IEEE 1212).
constexpr std::uint8_t VENDOR = 0x03, HARDWARE_VERSION = 0x04, NODE_CAPABILITIES = 0x0C, SPECIFIER = 0x12,
                       VERSION = 0x13, MODEL = 0x17, TEXT_LEAF = 0x81, UNIT_DIRECTORY = 0xD1;

// An entry's value, or the block that it refers to.
struct Entry {
    std::uint8_t key;
    std::uint32_t value;
    const Bytes* block = nullptr;
};

// Prepends length and CRC to the quadlets of a leaf or directory.
Bytes WithHeader(const Bytes& content) {
    Bytes block;
    Append32(block, static_cast<std::uint32_t>(content.size() / 4) << 16 | Crc16(content), ByteOrder::Big);
    block.insert(block.end(), content.begin(), content.end());
    return block;
}

Bytes TextLeaf(const std::string& text) {
    Bytes content(8, 0); // textual descriptor of the minimal form: type, specifier, width, set, language all 0
    content.insert(content.end(), text.begin(), text.end());
    content.resize((content.size() + 3) / 4 * 4, 0);
    return WithHeader(content);
}

// A directory followed by its blocks, in the order of the entries.
Bytes Directory(const std::vector<Entry>& entries) {
    Bytes content;
    std::size_t blockStart = entries.size() + 1; // in quadlets from the directory's header
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const Entry& entry = entries[i];
        std::uint32_t value = entry.value;
        if (entry.block != nullptr) {
            value = static_cast<std::uint32_t>(blockStart - (i + 1)); // counted from the entry itself
            blockStart += entry.block->size() / 4;
        }
        Append32(content, std::uint32_t{entry.key} << 24 | (value & 0xFFFFFF), ByteOrder::Big);
    }
    Bytes directory = WithHeader(content);
    for (const Entry& entry : entries)
        if (entry.block != nullptr)
            directory.insert(directory.end(), entry.block->begin(), entry.block->end());
    return directory;
}

Bytes BusInfoBlock(const RomContent& content) {
    // Bus name; isochronous capable, 100 ppm, 2048-byte requests, generation 1, S400; GUID.
    Bytes block = {'1', '3', '9', '4', 0x20, 0x64, 0xA0, 0x12};
    Append32(block, content.vendorId << 8 | content.guid[3], ByteOrder::Big);
    block.insert(block.end(), content.guid.begin() + 4, content.guid.end());
    return block;
}

bool HasBusName(const Bytes& image) {
    return image.size() >= 8 && std::equal(image.begin() + 4, image.begin() + 8, "1394");
}

} // namespace

std::uint16_t Crc16(ByteView quadlets) {
    unsigned crc = 0;
    for (const std::uint8_t byte : quadlets) {
        crc ^= static_cast<unsigned>(byte) << 8;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 0x8000) != 0 ? crc << 1 ^ 0x1021 : crc << 1;
    }
    return static_cast<std::uint16_t>(crc);
}

Bytes GenerateRom(const RomContent& content) {
    const Bytes vendorText = TextLeaf(content.vendor), modelText = TextLeaf(content.model);
    const Bytes unit =
        Directory({{SPECIFIER, content.vendorId}, {VERSION, 1}, {MODEL, content.modelId}, {TEXT_LEAF, 0, &modelText}});
    const Bytes root = Directory({{VENDOR, content.vendorId},
                                  {TEXT_LEAF, 0, &vendorText},
                                  {HARDWARE_VERSION, content.hardwareVersion >> 8},
                                  {NODE_CAPABILITIES, 0x0083C0},
                                  {MODEL, content.modelId},
                                  {TEXT_LEAF, 0, &modelText},
                                  {UNIT_DIRECTORY, 0, &unit}});
    const Bytes busInfo = BusInfoBlock(content);
    Bytes rom;
    Append32(rom, 0x04040000u | Crc16(busInfo), ByteOrder::Big);
    rom.insert(rom.end(), busInfo.begin(), busInfo.end());
    rom.insert(rom.end(), root.begin(), root.end());
    return rom;
}

Bytes MinimalRom(std::uint32_t vendorId) {
    Bytes rom;
    Append32(rom, 0x01000000u | vendorId, ByteOrder::Big);
    return rom;
}

Bytes LoadRomImage(const std::string& path) {
    const std::optional<Bytes> file = ReadFile(path);
    if (!file)
        throw std::runtime_error("can't read '" + path + "'");
    try {
        return ToRomImage(*file);
    } catch (const std::runtime_error& failure) {
        throw std::runtime_error("'" + path + "' " + failure.what());
    }
}

Bytes ToRomImage(const Bytes& content) {
    if (content.empty() || content.size() % 4 != 0 || content.size() > LARGEST_IMAGE)
        throw std::runtime_error("must hold 1 to 16384 whole quadlets");
    if (!HasBusName(content)) {
        Bytes turned = content;
        TurnQuadlets(ByteSpan(turned));
        if (HasBusName(turned))
            return turned;
    }
    return content;
}

} // namespace simulator

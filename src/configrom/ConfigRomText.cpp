#include "ConfigRomText.h"

#include "CodePage.h"
#include "Failure.h"
#include "RomFormat.h"
#include "basConfigRom.h"
#include "basUtils.h"

#include <fmt/format.h>

#include <array>
#include <iterator>
#include <tuple>
#include <utility>

namespace basConfigRom {

namespace {

constexpr std::int32_t KEY_SPECIFIER_ID = 0x12, KEY_NODE_CAPABILITIES = 0x0C;
constexpr std::int32_t AVC_SPECIFIER = 0x00A02D;

// By key value (IEEE 1212); an empty one has no name.
constexpr std::array<const char*, 0x21> KEY_NAMES{
    "",
    "(Text)",
    "BUS DEPENDENT INFO",
    "MODULE VENDOR ID",
    "MODULE HW VERSION",
    "MODULE SPEC ID",
    "MODULE SW VERSION",
    "MODULE DEPENDENT INFO",
    "NODE VENDOR ID",
    "NODE HW VERSION",
    "NODE SPEC ID",
    "NODE SW VERSION",
    "NODE_CAPABILITIES",
    "NODE_UNIQUE_ID",
    "",
    "",
    "NODE DEPENDENT INFO",
    "UNIT_DIRECTORY_OFFSET",
    "SPECIFIER_ID",
    "VERSION",
    "DEPENDENT_INFO",
    "UNIT_LOCATION",
    "",
    "MODEL ID",
    "INSTANCE",
    "KEYWORD",
    "FEATURE",
    "EXTENDED_ROM",
    "EXTENDED_KEY_SPECIFIER_ID",
    "EXTENDED_KEY",
    "EXTENDED_DATA",
    "MODIFIABLE_DESCRIPTOR",
    "DIRECTORY_ID",
};

constexpr std::array<const char*, 4> TYPE_WORDS{"(imm), ", "(off), ", "(leaf),", "(dir), "};

struct CapabilityName {
    bool NodeCapabilityFlags::*flag;
    const char* name;
};
using F = NodeCapabilityFlags;
constexpr CapabilityName CAPABILITY_NAMES[] = {
    {&F::SplitTimeout, "SplitTimeout"},
    {&F::MessagePassing, "MessagePassing"},
    {&F::InterruptRegisters, "InterruptRegisters"},
    {&F::ArgumentRegisters, "ArgumentRegisters"},
    {&F::TestRegisters, "TestRegisters"},
    {&F::PrivateSpace, "PrivateSpace"},
    {&F::BitAddressing64, "BitAddressing64"},
    {&F::FixedAddressing, "FixedAddressing"},
    {&F::LostBit, "LostBit"},
    {&F::DisableRequest, "DisableRequest"},
    {&F::ErrorLogRegister, "ErrorLogRegister"},
    {&F::AttentionBit, "AttentionBit"},
    {&F::OffBit, "OffBit"},
    {&F::DeadState, "DeadState"},
    {&F::InitializingState, "InitializingState"},
};

// The quadlet comes from the raw bytes, so it is right even where decoded fields aren't.
std::string QuadletRow(std::int32_t address, std::uint32_t quadlet, const std::string& description) {
    return fmt::format("0x{:08X}   0x{:08X}  {}", std::uint32_t(address), quadlet, description);
}

std::string ValueText(const ConfigRomEntry& entry) {
    const auto key = std::size_t(entry.KeyValue);
    const bool named = key < KEY_NAMES.size() && KEY_NAMES[key][0] != '\0';
    std::string text = named ? fmt::format("value={}  data=0x{:X}", KEY_NAMES[key], entry.Data)
                             : fmt::format("value=UNKNOWN:0x{:X}  data=0x{:X}", entry.KeyValue, entry.Data);
    if (entry.KeyValue == KEY_SPECIFIER_ID && entry.Data == AVC_SPECIFIER)
        text += " (AVC)";
    return text;
}

std::string EntryDescription(const ConfigRomEntry& entry) {
    return fmt::format("key type={} {}key=0x{:02X} {}", entry.KeyType, TYPE_WORDS[std::size_t(entry.KeyType) & 3],
                       entry.KeyValue, ValueText(entry));
}

std::string BusCharacteristics(const ConfigRomRecord& rom) {
    std::string text;
    const std::pair<bool, const char*> flags[] = {{rom.IRMC, "IRMC "}, {rom.CMC, "CMC "}, {rom.ISC, "ISC "},
                                                  {rom.BMC, "BMC "},   {rom.PMC, "PMC "}, {rom.ADJ, "ADJ "}};
    for (const auto& [set, name] : flags)
        text += set ? name : "";
    return text + fmt::format("CycClkAcc=0x{:X} MaxRec=0x{:X} MaxRom=0x{:X} Generation=0x{:X} LinkSpd=0x{:X} ",
                              rom.CycClkAcc, rom.MaxRec, rom.MaxRom, rom.Generation, rom.LinkSpd);
}

std::string QuadletsFrom(const ByteArray& bytes, std::int32_t offset) {
    std::string text;
    for (std::int32_t at = offset; at + 3 < std::int32_t(bytes.size()); at += 4)
        fmt::format_to(std::back_inserter(text), "{:08X} ", Quadlet(bytes, at));
    return text;
}

} // namespace

int RomTree::Add(int parent, std::string key, std::string text, bool expanded) {
    Rows.push_back({std::move(key), parent, std::move(text), expanded});
    return int(Rows.size()) - 1;
}

std::int32_t FormatConfigRomApple(RomTree& tree, const ConfigRomRecord& rom) {
    tree.Rows.clear();
    if (FormatConfigRomBusInfoBlockApple(tree, rom) != 1) {
        StatusDisplay("", LEVEL_ERROR,
                      "ERROR: Failed call to FormatConfigRomBusInfoBlockApple in FormatConfigRomApple.  Exiting "
                      "function abnormally!");
        return -1;
    }
    const int root = tree.Add(-1, "ROOT_DIRECTORY", "ROOT DIRECTORY", true);
    if (FormatConfigRomDirectoryApple(tree, root, rom, 0) != 1) {
        StatusDisplay("", LEVEL_ERROR,
                      "ERROR: Failed call to FormatConfigRomDirectoryApple in FormatConfigRomApple.  Exiting "
                      "function abnormally!");
        return -1;
    }
    return 1;
}

std::int32_t FormatConfigRomBusInfoBlockApple(RomTree& tree, const ConfigRomRecord& rom) {
    if (rom.info_len < 1) {
        StatusDisplay("", LEVEL_ERROR, "ERROR: Invalid config rom in FormatConfigRomApple!");
        return -1;
    }
    const int block = tree.Add(-1, "BUS_INFO_BLOCK", "BUS INFO BLOCK", true);
    platform::ResumeNext next(LogFailure("FormatConfigRomBusInfoBlockApple"));
    const auto row = [&](std::int32_t offset, const char* key, const std::string& description) {
        next(
            [&] { tree.Add(block, key, QuadletRow(rom.Address + offset, Quadlet(rom.RawData, offset), description)); });
    };
    row(0, "BUS_INFO_BLOCK_HEADER",
        fmt::format("ROM Header (General), info_len={} quadlets, crc_len=0x{:X} quadlets, crc=0x{:X}", rom.info_len,
                    rom.crc_len, rom.crc));
    std::string busName;
    next([&] {
        Quadlet(rom.RawData, 4);
        busName = platform::TextFromAnsi(rom.RawData.data() + 4, 4);
    });
    row(4, "BUS_NAME", "\"" + busName + "\"");
    row(8, "BUS_CHARACTERISTICS", BusCharacteristics(rom));
    row(12, "BUS_INFO_NODE_VENDOR_ID",
        fmt::format("NodeVendorID = 0x{:X}, ChipIDHi = 0x{:X}", rom.NodeVendorID, rom.ChipIDHi));
    row(16, "BUS_INFO_CHIP_ID_LOW", fmt::format("ChipIdLow = 0x{:X}", std::uint32_t(rom.ChipIdLow)));
    return 1;
}

namespace {

// Indexes of the next subdirectory, leaf and offset of a directory.
struct Counters {
    std::size_t subdirectories = 0, leaves = 0, offsets = 0;
};

void AddCapabilityRows(RomTree& tree, int parent, const NodeCapabilityFlags& flags) {
    for (const auto& [flag, name] : CAPABILITY_NAMES)
        if (flags.*flag)
            tree.Add(parent, "", name);
}

void AddWhatEntryRefersTo(RomTree& tree, int row, const ConfigRomRecord& rom, std::int32_t directoryIndex,
                          const ConfigRomEntry& entry, Counters& counters) {
    const ConfigRomDirectory& directory = rom.Directories[std::size_t(directoryIndex)];
    switch (entry.KeyType) {
    case 1: {
        const std::size_t number = counters.offsets++;
        const ConfigRomOffset& offset = directory.Offsets.at(number);
        tree.Add(row, fmt::format("DIRECTORY_{:03}_OFFSET_{:03}", directoryIndex, number),
                 QuadletRow(offset.Address, std::uint32_t(offset.Value), "(offset data)"));
        break;
    }
    case 2: {
        const std::size_t number = counters.leaves++;
        FormatConfigRomLeafApple(tree, row, std::int32_t(number), entry.KeyValue, directory.Leaves.at(number));
        break;
    }
    case 3: {
        // A directory comes after its parent in the record; a child that doesn't was never read.
        const std::int32_t child = directory.Children.at(counters.subdirectories++);
        if (child > directoryIndex)
            std::ignore = FormatConfigRomDirectoryApple(tree, row, rom, child); // without rows it is just missing
        break;
    }
    default:
        break;
    }
}

} // namespace

std::int32_t FormatConfigRomDirectoryApple(RomTree& tree, int parent, const ConfigRomRecord& rom,
                                           std::int32_t directoryIndex) {
    const ConfigRomDirectory& directory = rom.Directories.at(std::size_t(directoryIndex));
    if (directory.RawData.size() < 4)
        return -1;
    platform::ResumeNext next(LogFailure("FormatConfigRomDirectoryApple"));
    next([&] {
        tree.Add(parent, fmt::format("DIRECTORY_HEADER_{:03}", directoryIndex),
                 QuadletRow(directory.Address, Quadlet(directory.RawData, 0),
                            fmt::format("Directory header, length=0x{:X} quadlets, crc=0x{:X}", directory.Length,
                                        directory.Crc)));
    });
    if (HoldsNoEntry(directory))
        return 1;
    Counters counters;
    for (std::size_t number = 0; number < directory.Entries.size(); ++number) {
        const ConfigRomEntry& entry = directory.Entries[number];
        int row = parent;
        next([&] {
            row = tree.Add(parent, fmt::format("DIRECTORY_{:03}_KEY_{:03}", directoryIndex, number),
                           QuadletRow(entry.Address, Quadlet(directory.RawData, std::int32_t(4 + 4 * number)),
                                      EntryDescription(entry)),
                           true);
        });
        if (directoryIndex == 0 && entry.KeyValue == KEY_NODE_CAPABILITIES)
            AddCapabilityRows(tree, row, rom.NodeCapabilities);
        next([&] { AddWhatEntryRefersTo(tree, row, rom, directoryIndex, entry, counters); });
    }
    return 1;
}

std::int32_t FormatConfigRomLeafApple(RomTree& tree, int parent, std::int32_t leafNumber, std::int32_t keyValue,
                                      const ConfigRomLeaf& leaf) {
    platform::ResumeNext next(LogFailure("FormatConfigRomLeafApple"));
    const std::string key = fmt::format("{}_LEAF_{:03}", tree.Rows.at(std::size_t(parent)).Key, leafNumber);
    const auto row = [&](std::int32_t offset, const std::string& rowKey, const std::string& description) {
        next([&] {
            tree.Add(parent, rowKey, QuadletRow(leaf.Address + offset, Quadlet(leaf.RawData, offset), description));
        });
    };
    row(0, key, fmt::format("Leaf header, length=0x{:X} quadlets, crc=0x{:X}", leaf.Length, leaf.Crc));
    if (keyValue != KEY_TEXT) {
        tree.Add(parent, "", QuadletsFrom(leaf.RawData, 4));
        return 1;
    }
    row(4, "", fmt::format("DescriptorType=0x{:X}  SpecifierID=0x{:X}", leaf.DescriptorType, leaf.SpecifierID));
    row(8, "",
        fmt::format("width=0x{:X}  CharacterSet=0x{:X}  Language=0x{:X}", leaf.width, std::uint16_t(leaf.CharacterSet),
                    std::uint16_t(leaf.Language)));
    const int raw =
        tree.Add(parent, key + "_RAW_DATA",
                 fmt::format("0x{:08X}   {}", std::uint32_t(leaf.Address) + 12, QuadletsFrom(leaf.RawData, 12)), true);
    tree.Add(raw, "", "\"" + leaf.Text + "\"");
    return 1;
}

std::string RomText(const RomTree& tree) {
    std::string text;
    for (const RomRow& row : tree.Rows)
        text += row.Text + "\r\n";
    return text;
}

} // namespace basConfigRom

// What IEEE 1212 requires of entries and their leaves. Keys are checked only in the directories that the standard
// itself defines: the root, instances and units. The contents of others are up to their specifier.
#include "RomChecker.h"

#include "basUtils.h"

#include <algorithm>
#include <array>

namespace basConfigRom {

namespace {

constexpr std::int32_t ROOT = 0, KEY_VENDOR = 0x03, KEY_NODE_CAPABILITIES = 0x0C, KEY_UNIQUE_ID = 0x0D, KEY_UNIT = 0x11,
                       KEY_SPECIFIER = 0x12, KEY_VERSION = 0x13, KEY_INSTANCE = 0x18, FIRST_RESERVED = 0x22,
                       LAST_RESERVED = 0x2F;

constexpr std::array<const char*, 4> TYPE_NAMES{"an immediate", "a CSR offset", "a leaf", "a directory"};
constexpr unsigned I = 1u << TYPE_IMMEDIATE, L = 1u << TYPE_LEAF, D = 1u << TYPE_DIRECTORY;

// The types allowed for a key, for keys on which the editions of IEEE 1212 agree.
struct KeyTypes {
    std::int32_t key;
    unsigned types;
    const char* words;
};
constexpr KeyTypes KEY_TYPES[] = {
    {0x01, L | D, "a leaf or a directory"},
    {0x03, I | L | D, "an immediate, a leaf or a directory"},
    {0x04, I, "an immediate"},
    {0x08, I, "an immediate"},
    {0x0C, I, "an immediate"},
    {0x0D, L, "a leaf"},
    {0x11, D, "a directory"},
    {0x12, I, "an immediate"},
    {0x13, I, "an immediate"},
    {0x15, L, "a leaf"},
    {0x17, I, "an immediate"},
    {0x18, D, "a directory"},
    {0x19, L, "a leaf"},
    {0x1B, L, "a leaf"},
    {0x1C, I, "an immediate"},
    {0x1D, I, "an immediate"},
    {0x1F, L, "a leaf"},
    {0x20, I, "an immediate"},
};

struct RequiredKey {
    std::int32_t directory, key;
    Verdict severity;
    const char* name;
};
constexpr RequiredKey REQUIRED_KEYS[] = {
    {ROOT, KEY_VENDOR, Verdict::Fault, "root directory has no Vendor_ID"},
    {ROOT, KEY_NODE_CAPABILITIES, Verdict::Note, "root directory has no Node_Capabilities"}, // editions differ
    {KEY_UNIT, KEY_SPECIFIER, Verdict::Fault, "unit directory has no Specifier_ID"},
    {KEY_UNIT, KEY_VERSION, Verdict::Fault, "unit directory has no Version"},
};

bool HasMoreThanMinimalAscii(const ByteArray& raw) {
    const auto end = std::find(raw.begin() + 12, raw.end(), 0);
    return std::any_of(raw.begin() + 12, end, [](std::uint8_t byte) { return byte < 0x20 || byte > 0x7E; });
}

} // namespace

void RomChecker::CheckDirectories() {
    std::vector<std::int32_t> keys(rom_.Directories.size(),
                                   -1); // of the entries that refer to them; parents come first
    std::set<std::pair<std::int32_t, std::int32_t>> seen;
    for (std::size_t index = 0; index < keys.size(); ++index) {
        const ConfigRomDirectory& directory = rom_.Directories[index];
        const std::int32_t key = index == 0 ? ROOT : keys[index];
        for (const ConfigRomEntry& entry : directory.Entries) {
            const auto child = std::size_t(entry.Index);
            if (entry.Address != 0 && entry.KeyType == TYPE_DIRECTORY && child > index && child < keys.size())
                keys[child] = entry.KeyValue;
        }
        if (directory.RawData.size() >= 8 && seen.emplace(directory.Address, key).second)
            CheckDirectory(directory, key);
    }
}

void RomChecker::CheckDirectory(const ConfigRomDirectory& directory, std::int32_t key) {
    const bool defined = key == ROOT || key == KEY_UNIT || key == KEY_INSTANCE;
    for (const ConfigRomEntry& entry : directory.Entries) {
        if (entry.Address == 0)
            continue;
        if (defined)
            CheckKey(entry);
        if (entry.KeyType == TYPE_LEAF && std::size_t(entry.Index) < directory.Leaves.size())
            CheckLeaf(entry, directory.Leaves[std::size_t(entry.Index)], key == ROOT);
    }
    if (WalkedEntries(directory) + 1 < directory.RawData.size() / 4)
        return; // a required key may be among the entries that weren't walked
    for (const RequiredKey& required : REQUIRED_KEYS) {
        const auto isIt = [&](const ConfigRomEntry& entry) {
            return entry.Address != 0 && entry.KeyType == TYPE_IMMEDIATE && entry.KeyValue == required.key;
        };
        if (required.directory == key && std::ranges::none_of(directory.Entries, isIt))
            Add(std::uint32_t(directory.Address), required.severity, "entry-missing",
                "The {} entry (immediate, key 0x{:02X}).", required.name, required.key);
    }
}

void RomChecker::CheckKey(const ConfigRomEntry& entry) {
    const std::int32_t key = entry.KeyValue;
    if (key == 0 || (key >= FIRST_RESERVED && key <= LAST_RESERVED)) {
        Add(std::uint32_t(entry.Address), Verdict::Note, "key-reserved", "Key 0x{:02X} is reserved.", key);
        return;
    }
    const auto* row = std::ranges::find(KEY_TYPES, key, &KeyTypes::key);
    if (row != std::end(KEY_TYPES) && (row->types >> entry.KeyType & 1u) == 0)
        Add(std::uint32_t(entry.Address), Verdict::Fault, "key-type", "Key 0x{:02X} stands for {}, not for {}.", key,
            row->words, TYPE_NAMES[std::size_t(entry.KeyType) & 3]);
}

void RomChecker::CheckLeaf(const ConfigRomEntry& entry, const ConfigRomLeaf& leaf, bool inRoot) {
    if (leaf.RawData.size() < 8 || !checkedLeaves_.emplace(leaf.Address, entry.KeyValue).second)
        return;
    if (entry.KeyValue == KEY_TEXT)
        CheckDescriptor(leaf);
    if (entry.KeyValue == KEY_UNIQUE_ID && inRoot)
        CheckUniqueId(leaf);
}

void RomChecker::CheckDescriptor(const ConfigRomLeaf& leaf) {
    const ByteArray& raw = leaf.RawData;
    const auto address = std::uint32_t(leaf.Address);
    if (raw[4] != 0 || basUtils::ByteArrayToLong(raw, 5, 7, true) != 0)
        Add(address + 4, Verdict::Note, "no-text",
            "No text: descriptor type 0x{:X} of specifier 0x{:X}. What the rows show as text is something else.",
            raw[4], basUtils::ByteArrayToLong(raw, 5, 7, true));
    else if (raw.size() < 12)
        Add(address, Verdict::Fault, "text-short", "A textual descriptor has at least 2 quadlets; this leaf has 1.");
    else if (basUtils::ByteArrayToLong(raw, 8, 11, true) == 0 && HasMoreThanMinimalAscii(raw))
        Add(address + 12, Verdict::Note, "text-bytes",
            "The text holds bytes that minimal ASCII, the character set that it names, doesn't have.");
}

void RomChecker::CheckUniqueId(const ConfigRomLeaf& leaf) {
    const auto address = std::uint32_t(leaf.Address);
    if (leaf.RawData.size() < 12)
        Add(address, Verdict::Fault, "guid-short", "A leaf of the GUID has 2 quadlets; this one has 1.");
    else if (rom_.RawData.size() >= 20 && !std::equal(rom_.GUID.begin(), rom_.GUID.end(), leaf.RawData.begin() + 4))
        Add(address, Verdict::Fault, "guid-differs", "The GUID in this leaf isn't the one of the bus info block.");
}

} // namespace basConfigRom

// The directories of a ROM and their leaves.
//
// Entries refer only to higher addresses, so directories can't form a loop. But a directory that two
// entries refer to (a unit directory that the root and an instance share) is in the tree twice, and a
// ROM of 1 KiB can unfold into more directories than memory holds. The limits in basConfigRom.h stop
// that; a directory then keeps the entries that were walked. A leaf that several entries share is
// read once.
#include "CodePage.h"
#include "RomFormat.h"
#include "basConfigRom.h"
#include "basUtils.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <utility>

namespace basConfigRom {

namespace {

constexpr std::uint32_t CSR_BASE = 0xF0000000;
constexpr std::uint32_t HEADER_MASK_BLOCK = 0xFFFF0000;
constexpr std::int32_t FAILED_READ_COST = 256; // quadlets: it may have waited for a time-out

// The index of a new element of a list whose first element is free while its Address is 0.
template <class Element> std::size_t NextElement(std::vector<Element>& list) {
    if (list.front().Address != 0)
        list.emplace_back();
    return list.size() - 1;
}

// The address of the entry plus its data, in quadlets.
std::int32_t Target(const ConfigRomEntry& entry) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(entry.Address) +
                                     4u * static_cast<std::uint32_t>(entry.Data));
}

void LogDirectoryFailure(const std::string& trail, std::int32_t nodeIndex, std::int32_t code, std::uint32_t address) {
    if (code == READ_TIMED_OUT)
        StatusDisplay(trail, LEVEL_WARNING,
                      "GetConfigRomDirectory: target failed to respond in the given time, node index {}, address "
                      "0xFFFFFFFF{:X}.",
                      nodeIndex, address);
    else
        StatusDisplay(trail, LEVEL_WARNING,
                      "GetConfigRomDirectory: failed call to GetConfigRomEntry, code {}(0x{:X}), node {}, address "
                      "0xFFFFFFFF{:X}.",
                      code, Bits(code), nodeIndex, address);
}

std::string LeafText(const ByteArray& raw) {
    const auto start = raw.begin() + 12;
    const auto end = std::find(start, raw.end(), 0);
    return platform::TextFromAnsi(ByteArray(start, end));
}

void DecodeLeaf(const ConfigRomEntry& entry, ConfigRomLeaf& leaf) {
    const ByteArray& raw = leaf.RawData;
    leaf.Length = basUtils::ByteArrayToLong(raw, 0, 1, true);
    leaf.Crc = basUtils::ByteArrayToLong(raw, 2, 3, true);
    leaf.DescriptorType = raw.at(4);
    if (raw.size() >= 12) {
        leaf.SpecifierID = basUtils::ByteArrayToLong(raw, 5, 7, true);
        leaf.width = raw[8] >> 4;
        leaf.CharacterSet = static_cast<std::int16_t>((raw[8] & 0x0F) << 8 | raw[9]);
        leaf.Language = basUtils::ByteArrayToInt(raw, 10, true);
    }
    if (entry.KeyValue == KEY_TEXT && raw.size() > 12)
        leaf.Text = LeafText(raw);
}

void DecodeDirectory(ByteArray bytes, std::int32_t address, ConfigRomDirectory& directory) {
    directory.RawData = std::move(bytes);
    const ByteArray& raw = directory.RawData;
    directory.Address = address;
    directory.Length = basUtils::ByteArrayToLong(raw, 0, 1, true);
    directory.Crc = basUtils::ByteArrayToLong(raw, 2, 3, true);
    directory.Entries.assign(raw.size() / 4 - 1, {});
    for (std::size_t j = 0; j < directory.Entries.size(); ++j) {
        const auto at = static_cast<std::int32_t>(4 * j + 4);
        const std::uint32_t quadlet = Quadlet(raw, at);
        directory.Entries[j] = {
            .Address = static_cast<std::int32_t>(static_cast<std::uint32_t>(address) + static_cast<std::uint32_t>(at)),
            .KeyType = static_cast<std::int32_t>(quadlet >> 30),
            .KeyValue = static_cast<std::int32_t>(quadlet >> 24 & 0x3F),
            .Data = static_cast<std::int32_t>(quadlet & 0xFFFFFF)};
    }
    directory.Offsets.assign(1, {});
    directory.Leaves.assign(1, {});
}

// A block that couldn't be read is empty or has one byte.
bool WasRead(const ByteArray& block) {
    return block.size() > 1;
}

// Reads a directory with everything below it. It works with indexes, since the record's list of directories grows
// meanwhile.
class TreeWalk {
public:
    TreeWalk(QuadletSource& source, ConfigRomRecord& rom) : source_(source), rom_(rom) {}

    // 1 or -1.
    [[nodiscard]] std::int32_t Read(std::int32_t address, std::int32_t index, const std::string& trail) {
        ByteArray bytes;
        const std::int32_t code = GetConfigRomEntry(source_, address, HEADER_MASK_BLOCK, bytes, trail);
        Count(bytes);
        if (code != 1) {
            LogDirectoryFailure(trail, source_.NodeIndex(), code, static_cast<std::uint32_t>(address));
            return -1;
        }
        DecodeDirectory(std::move(bytes), address, Directory(index));
        TakeEntries(index, trail);
        return 1;
    }

private:
    ConfigRomDirectory& Directory(std::int32_t index) { return rom_.Directories[static_cast<std::size_t>(index)]; }

    void TakeEntries(std::int32_t index, const std::string& trail) {
        platform::ResumeNext next(LogFailure("bas1394.GetConfigRomDirectory", trail));
        std::int32_t precedingKey = 0; // of the last immediate before an entry
        for (std::size_t j = 0; j < Directory(index).Entries.size(); ++j) {
            if (TooLarge()) {
                ReportCutOff(trail, Directory(index).Entries[j].Address);
                CutEntries(Directory(index).Entries, j);
                return;
            }
            next([&] { Take(index, j, precedingKey, trail); });
        }
    }

    bool TooLarge() const {
        return rom_.Directories.size() >= MAX_DIRECTORIES || leaves_ >= MAX_LEAVES || quadlets_ >= MAX_QUADLETS;
    }

    // An entry that wasn't walked has no valid Index.
    static void CutEntries(std::vector<ConfigRomEntry>& entries, std::size_t walked) {
        entries.resize(walked);
        if (entries.empty())
            entries.emplace_back();
    }

    void Take(std::int32_t index, std::size_t j, std::int32_t& precedingKey, const std::string& trail) {
        const ConfigRomEntry entry = Directory(index).Entries[j];
        std::int32_t target = 0;
        switch (entry.KeyType) {
        case TYPE_IMMEDIATE:
            if (index == 0)
                StoreRootKeyValue(entry, rom_);
            precedingKey = entry.KeyValue;
            break;
        case TYPE_DIRECTORY:
            target = TakeDirectory(index, entry, precedingKey, trail);
            break;
        case TYPE_LEAF:
            target = TakeLeaf(index, entry, precedingKey, trail);
            break;
        case TYPE_OFFSET:
            target = TakeOffset(index, entry, precedingKey);
            break;
        }
        Directory(index).Entries[j].Index = target;
    }

    std::int32_t TakeDirectory(std::int32_t parent, const ConfigRomEntry& entry, std::int32_t precedingKey,
                               const std::string& trail) {
        AddConfigRomDirectory(rom_, parent);
        const auto index = static_cast<std::int32_t>(rom_.Directories.size() - 1);
        Directory(index).Address = Target(entry);
        Directory(index).PrecedingKey = precedingKey;
        std::ignore = Read(Target(entry), index, Deeper(trail)); // an unreadable one stays in the tree
        return index;
    }

    std::int32_t TakeLeaf(std::int32_t owner, const ConfigRomEntry& entry, std::int32_t precedingKey,
                          const std::string& trail) {
        ++leaves_;
        const std::size_t index = NextElement(Directory(owner).Leaves);
        ConfigRomLeaf& leaf = Directory(owner).Leaves[index]; // stays valid: no directory is added while a leaf is read
        leaf.PrecedingKey = precedingKey;
        leaf.Address = Target(entry);
        leaf.DirectoryIndex = owner;
        if (const auto known = leafBytes_.find(leaf.Address); known != leafBytes_.end()) {
            leaf.RawData = known->second;
            DecodeLeaf(entry, leaf);
        } else {
            GetConfigRomLeaf(trail, source_, leaf.Address, entry, leaf);
            Count(leaf.RawData);
            if (WasRead(leaf.RawData)) // otherwise the next entry that refers to it tries again
                leafBytes_.emplace(leaf.Address, leaf.RawData);
        }
        return static_cast<std::int32_t>(index);
    }

    std::int32_t TakeOffset(std::int32_t owner, const ConfigRomEntry& entry, std::int32_t precedingKey) {
        const std::size_t index = NextElement(Directory(owner).Offsets);
        ConfigRomOffset& offset = Directory(owner).Offsets[index];
        const std::uint32_t address = CSR_BASE + 4u * static_cast<std::uint32_t>(entry.Data);
        offset.PrecedingKey = precedingKey;
        offset.Address = static_cast<std::int32_t>(address);
        ByteArray bytes;
        const bool read = source_.Read(address, 4, bytes) == READ_SUCCESS;
        if (read)
            offset.Value = static_cast<std::int32_t>(Quadlet(bytes, 0));
        quadlets_ += read ? 1 : FAILED_READ_COST;
        return static_cast<std::int32_t>(index);
    }

    void Count(const ByteArray& block) {
        quadlets_ += WasRead(block) ? static_cast<std::int32_t>(block.size() / 4) : FAILED_READ_COST;
    }

    void ReportCutOff(const std::string& trail, std::int32_t address) {
        if (!std::exchange(cutOffReported_, true))
            StatusDisplay(trail, LEVEL_WARNING,
                          "GetConfigRomDirectory: the config rom of node index {} is cut off at address 0xFFFF{:X}: it "
                          "is too large.",
                          source_.NodeIndex(), static_cast<std::uint32_t>(address));
    }

    QuadletSource& source_;
    ConfigRomRecord& rom_;
    std::map<std::int32_t, ByteArray> leafBytes_; // by address
    std::int32_t leaves_ = 0, quadlets_ = 0;
    bool cutOffReported_ = false; // once for each ROM
};

// Whether entries were dropped.
bool IsCutOff(const ConfigRomDirectory& directory) {
    return HoldsNoEntry(directory) || 4 * directory.Entries.size() + 4 < directory.RawData.size();
}

} // namespace

bool HoldsNoEntry(const ConfigRomDirectory& directory) {
    return directory.Entries.size() == 1 && directory.Entries.front().Address == 0;
}

bool IsWhole(const ConfigRomRecord& rom) {
    return std::ranges::all_of(rom.Directories, [](const ConfigRomDirectory& directory) {
        const auto leafWasRead = [&](const ConfigRomEntry& entry) {
            return entry.KeyType != TYPE_LEAF ||
                   WasRead(directory.Leaves.at(static_cast<std::size_t>(entry.Index)).RawData);
        };
        return WasRead(directory.RawData) && !IsCutOff(directory) &&
               std::ranges::all_of(directory.Entries, leafWasRead);
    });
}

std::int32_t GetConfigRomDirectory(QuadletSource& source, std::int32_t directoryAddress, std::int32_t directoryIndex,
                                   ConfigRomRecord& rom, const std::string& logTrail) {
    const std::string trail = Deeper(logTrail);
    if (!source.Exists()) {
        StatusDisplay(trail, LEVEL_ERROR, "GetConfigRomDirectory: invalid node index: {}.  Exiting abnomally.",
                      source.NodeIndex());
        return -1;
    }
    return TreeWalk(source, rom).Read(directoryAddress, directoryIndex, trail);
}

void GetConfigRomLeaf(const std::string& logTrail, QuadletSource& source, std::int32_t leafAddress,
                      const ConfigRomEntry& entry, ConfigRomLeaf& leaf) {
    const std::string trail = Deeper(logTrail);
    platform::ResumeNext next(LogFailure("bas1394.GetConfigRomLeaf", trail));
    if (!source.Exists()) {
        StatusDisplay(trail, LEVEL_ERROR, "GetConfigRomLeaf: invalid node index: {}.  Exiting abnomally.",
                      source.NodeIndex());
        return;
    }
    next([&] {
        if (GetConfigRomEntry(source, leafAddress, HEADER_MASK_BLOCK, leaf.RawData, trail) == 1)
            DecodeLeaf(entry, leaf);
        else
            StatusDisplay(trail, LEVEL_WARNING, "GetConfigRomLeaf: failed call to GetConfigRomEntry, node {}.",
                          source.NodeNumber());
    });
}

} // namespace basConfigRom

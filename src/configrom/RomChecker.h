// What the files of the checks share.
#pragma once

#include "RomChecks.h"
#include "RomFormat.h"

#include <fmt/format.h>

#include <optional>
#include <set>
#include <tuple>
#include <utility>

namespace basConfigRom {

enum class BlockKind { BusInfo, Directory, Leaf };

// A block that something refers to.
struct RomBlock {
    std::uint32_t Address = 0;
    BlockKind Kind = BlockKind::BusInfo;
    const ByteArray* Raw = nullptr; // header and data; less than 8 bytes when it couldn't be read
    std::uint32_t ReferredFrom = 0; // the first entry that refers to it, or its own address

    bool Read() const { return Raw->size() >= 8; }
    std::uint32_t End() const { return Address + (Read() ? std::uint32_t(Raw->size()) & ~3u : 0); }
    std::string Name() const; // "directory at 0xF0000414"
};

class RomChecker {
public:
    RomChecker(const ConfigRomRecord& rom, const ByteArray& image) : rom_(rom), image_(image) {}
    std::vector<RomFinding> Check();

private:
    // Quadlets that something refers to.
    struct Use {
        std::uint32_t From, To;
        bool Inside; // the ROM reaches at least this far
        bool operator<(const Use& other) const { return std::tie(From, To) < std::tie(other.From, other.To); }
    };
    template <class... Arguments>
    void Add(std::uint32_t address, Verdict severity, const char* code, fmt::format_string<Arguments...> text,
             Arguments&&... arguments) {
        findings_.push_back({address, severity, code, fmt::format(text, std::forward<Arguments>(arguments)...)});
    }
    void CollectBlocks();
    void CollectFrom(std::size_t index);
    // How many entries the reader followed.
    static std::size_t WalkedEntries(const ConfigRomDirectory& directory);
    std::optional<std::uint32_t> KnownQuadlet(std::uint32_t address) const;
    std::optional<ByteArray> KnownBytes(std::uint32_t address, std::size_t quadlets) const;

    // RomChecks.cpp
    void CheckBusInfoBlock();
    void CheckBusInfoCrc();
    void CheckCrc(const RomBlock& block);
    void AddWrongCrc(const RomBlock& block, std::uint16_t stored, const ByteArray& data);
    void CheckPlaces();
    std::string WhyUnread(std::uint32_t address) const;
    void CheckUnreferred();
    std::vector<Use> UsesByOffsets() const;
    void AddUnreferred(std::uint32_t from, std::uint32_t to);
    std::uint32_t EndOfUse() const;

    // RomEntryChecks.cpp
    void CheckDirectories();
    void CheckDirectory(const ConfigRomDirectory& directory, std::int32_t key);
    void CheckKey(const ConfigRomEntry& entry);
    void CheckLeaf(const ConfigRomEntry& entry, const ConfigRomLeaf& leaf, bool inRoot);
    void CheckDescriptor(const ConfigRomLeaf& leaf);
    void CheckUniqueId(const ConfigRomLeaf& leaf);

    const ConfigRomRecord& rom_;
    const ByteArray& image_;
    std::vector<RomBlock> blocks_;                                   // by address, each once
    std::set<std::pair<std::uint32_t, std::int32_t>> checkedLeaves_; // address and key of the entry
    bool cutOff_ = false;                                            // the reader followed only part of the ROM
    std::vector<RomFinding> findings_;
};

} // namespace basConfigRom

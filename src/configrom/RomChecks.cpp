// Blocks of a ROM: their CRCs, their places, and what lies between them.
//
// Findings must deserve attention. A CRC of 0, or one computed over byte-swapped quadlets, is common in
// devices that work, so it is only a note; and blocks that the reader couldn't read or didn't follow
// never count as faults. All loops run over the contents of the record, so checking a hostile ROM is
// as bounded as reading it.
#include "RomChecker.h"

#include "basConfigRom.h"
#include "basUtils.h"

#include <algorithm>
#include <array>
#include <limits>
#include <tuple>

namespace basConfigRom {

namespace {

constexpr std::uint32_t ROM_END = ROM_BASE + 0x400; // of the space reserved for the ROM (IEEE 1394-1995, 8.3.2.5)
constexpr std::size_t MAX_OFFSET = 0x4000000;       // what an entry's 24 bits reach
constexpr std::uint32_t BUS_NAME = 0x31333934;      // "1394"
constexpr std::size_t BUS_INFO_QUADLETS = 4;

// IEEE 1212: x^16 + x^12 + x^5 + 1, initial value 0, most significant bit first.
std::uint16_t Crc16(const ByteArray& bytes) {
    std::uint32_t crc = 0;
    for (const std::uint8_t byte : bytes) {
        crc ^= std::uint32_t{byte} << 8;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 0x8000) != 0 ? crc << 1 ^ 0x1021 : crc << 1;
    }
    return std::uint16_t(crc);
}

std::uint16_t TurnedCrc16(ByteArray bytes) {
    for (std::size_t at = 0; at + 4 <= bytes.size(); at += 4)
        std::reverse(bytes.begin() + std::ptrdiff_t(at), bytes.begin() + std::ptrdiff_t(at + 4));
    return Crc16(bytes);
}

// The data of a block that was read: whole quadlets only.
ByteArray DataOf(const ByteArray& raw) {
    return {raw.begin() + 4, raw.begin() + std::ptrdiff_t(raw.size() & ~std::size_t{3})};
}

constexpr std::array<const char*, 3> KIND_NAMES{"bus info block", "directory", "leaf"};

const char* KindName(BlockKind kind) {
    return KIND_NAMES[std::size_t(kind)];
}

std::size_t Count(const std::vector<RomFinding>& findings, Verdict severity) {
    return std::size_t(std::ranges::count(findings, severity, &RomFinding::Severity));
}

std::string Counted(std::size_t count, const char* what) {
    return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

} // namespace

std::uint32_t RomFinding::Quadlet() const {
    return (Address - ROM_BASE) / 4;
}

std::string RomBlock::Name() const {
    return fmt::format("{} at 0x{:08X}", KindName(Kind), Address);
}

std::vector<RomFinding> CheckConfigRom(const ConfigRomRecord& rom, const ByteArray& image) {
    return RomChecker(rom, image).Check();
}

const char* VerdictName(Verdict severity) {
    constexpr std::array<const char*, 3> NAMES{"fault", "note", "good"};
    return NAMES[std::size_t(severity)];
}

std::vector<std::string> CheckLines(const std::vector<RomFinding>& findings) {
    std::vector<std::string> lines = {"", "CHECKS: " + SummaryText(findings)};
    for (const RomFinding& finding : findings)
        lines.push_back(
            fmt::format("0x{:08X}  {:5}  {}", finding.Address, VerdictName(finding.Severity), finding.Text));
    return lines;
}

std::string SummaryText(const std::vector<RomFinding>& findings) {
    return fmt::format("{}, {}, {} good", Counted(Count(findings, Verdict::Fault), "fault"),
                       Counted(Count(findings, Verdict::Note), "note"), Counted(Count(findings, Verdict::Good), "CRC"));
}

std::vector<RomFinding> RomChecker::Check() {
    if (rom_.RawData.size() < 4) {
        Add(ROM_BASE, Verdict::Note, "not-read", "No config ROM was read, so nothing is checked.");
        return findings_;
    }
    if (rom_.RawData[0] == 1) {
        Add(ROM_BASE, Verdict::Note, "minimal", "A minimal ROM: a vendor ID, and no CRC or entry to check.");
        return findings_;
    }
    CollectBlocks();
    CheckBusInfoBlock();
    for (const RomBlock& block : blocks_)
        if (block.Kind != BlockKind::BusInfo && block.Read())
            CheckCrc(block);
    CheckPlaces();
    CheckDirectories();
    CheckUnreferred();
    std::ranges::stable_sort(findings_, {},
                             [](const RomFinding& finding) { return std::pair(finding.Severity, finding.Address); });
    return std::move(findings_);
}

void RomChecker::CollectBlocks() {
    blocks_.push_back({ROM_BASE, BlockKind::BusInfo, &rom_.RawData, ROM_BASE});
    if (!rom_.Directories.empty() && rom_.Directories.front().Address != 0) {
        const ConfigRomDirectory& root = rom_.Directories.front();
        blocks_.push_back({std::uint32_t(root.Address), BlockKind::Directory, &root.RawData, ROM_BASE});
    }
    for (std::size_t index = 0; index < rom_.Directories.size(); ++index)
        CollectFrom(index);
    // If a block is listed more than once, the copy that has its bytes comes first.
    std::ranges::stable_sort(
        blocks_, {}, [](const RomBlock& block) { return std::tuple(block.Address, block.Kind, !block.Read()); });
    const auto sameBlock = [](const RomBlock& one, const RomBlock& other) {
        return one.Address == other.Address && one.Kind == other.Kind;
    };
    blocks_.erase(std::unique(blocks_.begin(), blocks_.end(), sameBlock), blocks_.end());
}

void RomChecker::CollectFrom(std::size_t index) {
    const ConfigRomDirectory& directory = rom_.Directories[index];
    for (const ConfigRomEntry& entry : directory.Entries) {
        const auto at = std::size_t(entry.Index);
        const auto from = std::uint32_t(entry.Address);
        if (entry.Address == 0)
            continue;
        if (entry.KeyType == TYPE_LEAF && at < directory.Leaves.size()) {
            const ConfigRomLeaf& leaf = directory.Leaves[at];
            blocks_.push_back({std::uint32_t(leaf.Address), BlockKind::Leaf, &leaf.RawData, from});
        }
        if (entry.KeyType == TYPE_DIRECTORY && at > index && at < rom_.Directories.size()) {
            const ConfigRomDirectory& child = rom_.Directories[at];
            blocks_.push_back({std::uint32_t(child.Address), BlockKind::Directory, &child.RawData, from});
        }
    }
    const std::size_t walked = WalkedEntries(directory),
                      entries = std::max<std::size_t>(directory.RawData.size() / 4, 1) - 1;
    if (walked < entries && !std::exchange(cutOff_, true))
        Add(std::uint32_t(directory.Address) + 4 * std::uint32_t(walked + 1), Verdict::Note, "cut-off",
            "The ROM is too large to be followed further: entries from here on aren't checked.");
}

std::size_t RomChecker::WalkedEntries(const ConfigRomDirectory& directory) {
    return std::size_t(
        std::ranges::count_if(directory.Entries, [](const ConfigRomEntry& entry) { return entry.Address != 0; }));
}

std::optional<std::uint32_t> RomChecker::KnownQuadlet(std::uint32_t address) const {
    if (address >= ROM_BASE && std::size_t{address - ROM_BASE} + 4 <= image_.size())
        return Quadlet(image_, address - ROM_BASE);
    for (const RomBlock& block : blocks_)
        if (block.Address <= address && address < block.End())
            return Quadlet(*block.Raw, address - block.Address);
    return {};
}

std::optional<ByteArray> RomChecker::KnownBytes(std::uint32_t address, std::size_t quadlets) const {
    ByteArray bytes;
    for (std::size_t i = 0; i < quadlets; ++i) {
        const auto quadlet = KnownQuadlet(address + 4 * std::uint32_t(i));
        if (!quadlet)
            return {};
        for (int shift = 24; shift >= 0; shift -= 8)
            bytes.push_back(std::uint8_t(*quadlet >> shift));
    }
    return bytes;
}

void RomChecker::CheckBusInfoBlock() {
    const ByteArray& raw = rom_.RawData;
    if (raw.size() < 4 + 4 * BUS_INFO_QUADLETS) {
        Add(ROM_BASE, Verdict::Fault, "bus-info-short", "The bus info block has {} quadlets; IEEE 1394 has {}.", raw[0],
            BUS_INFO_QUADLETS);
        return;
    }
    if (Quadlet(raw, 4) != BUS_NAME)
        Add(ROM_BASE + 4, Verdict::Fault, "bus-name", "The bus name isn't \"1394\".");
    const std::uint32_t high = Quadlet(raw, 12), low = Quadlet(raw, 16);
    if (high == low && (high == 0 || high == 0xFFFFFFFF))
        Add(ROM_BASE + 12, Verdict::Fault, "no-guid", "The GUID is all {}: it was never programmed.",
            high == 0 ? "0" : "F");
    CheckBusInfoCrc();
}

void RomChecker::CheckBusInfoCrc() {
    const std::size_t length = rom_.RawData[0], covered = rom_.RawData[1];
    const RomBlock& block = blocks_.front();
    const std::uint16_t stored = std::uint16_t(Quadlet(rom_.RawData, 0));
    const ByteArray data = DataOf(rom_.RawData);
    if (covered == length) {
        CheckCrc(block);
        return;
    }
    if (covered == 0) {
        Add(ROM_BASE, Verdict::Note, "crc-none", "crc_len is 0: the ROM claims no CRC.");
        return;
    }
    const auto bytes = KnownBytes(ROM_BASE + 4, covered);
    const bool right = bytes && Crc16(*bytes) == stored;
    if (right && covered < length)
        Add(ROM_BASE, Verdict::Note, "crc-part",
            "The CRC is right, but covers only {} of {} quadlets of the bus info block.", covered, length);
    else if (right)
        Add(ROM_BASE, Verdict::Good, "crc-good", "The CRC of the first {} quadlets, 0x{:04X}, is right.", covered,
            stored);
    else if (Crc16(data) == stored)
        Add(ROM_BASE, Verdict::Note, "crc-part",
            "The CRC is that of the bus info block alone ({} quadlets); crc_len is {}.", length, covered);
    else if (stored == 0)
        Add(ROM_BASE, Verdict::Note, "crc-none", "No CRC is stored for the bus info block.");
    else if (!bytes)
        Add(ROM_BASE, Verdict::Note, "crc-undecided",
            "The CRC isn't checked: crc_len is {}, and not all of these quadlets were read.", covered);
    else
        AddWrongCrc(block, stored, *bytes);
}

void RomChecker::CheckCrc(const RomBlock& block) {
    const auto stored = std::uint16_t(Quadlet(*block.Raw, 0));
    const ByteArray data = DataOf(*block.Raw);
    if (Crc16(data) == stored)
        Add(block.Address, Verdict::Good, "crc-good", "The {}'s CRC, 0x{:04X}, is right.", KindName(block.Kind),
            stored);
    else if (stored == 0)
        Add(block.Address, Verdict::Note, "crc-none", "The {} has no CRC (0); it would be 0x{:04X}.",
            KindName(block.Kind), Crc16(data));
    else
        AddWrongCrc(block, stored, data);
}

void RomChecker::AddWrongCrc(const RomBlock& block, std::uint16_t stored, const ByteArray& data) {
    if (TurnedCrc16(data) == stored)
        Add(block.Address, Verdict::Note, "crc-turned",
            "The {}'s CRC, 0x{:04X}, was taken over bytes in reverse order; IEEE 1212 has 0x{:04X}.",
            KindName(block.Kind), stored, Crc16(data));
    else
        Add(block.Address, Verdict::Fault, "crc-wrong", "The {}'s CRC is 0x{:04X}, its content has 0x{:04X}.",
            KindName(block.Kind), stored, Crc16(data));
}

// Blocks by address against the one so far that reaches farthest.
void RomChecker::CheckPlaces() {
    const RomBlock* reach = nullptr;
    for (const RomBlock& block : blocks_) {
        const std::uint32_t from = block.ReferredFrom;
        if (from == block.Address && block.Kind != BlockKind::BusInfo)
            Add(from, Verdict::Fault, "loop", "The entry's offset is 0: it leads to itself.");
        else if (reach != nullptr && block.Address < reach->End() && block.Address == reach->Address)
            Add(from, Verdict::Fault, "two-kinds", "Leads to the {} as if it were a {}.", reach->Name(),
                KindName(block.Kind));
        else if (reach != nullptr && block.Address < reach->End())
            Add(from, Verdict::Fault, "overlap", "Leads to 0x{:08X}, which is inside the {}.", block.Address,
                reach->Name());
        else if (!block.Read() && block.Kind != BlockKind::BusInfo)
            Add(from, Verdict::Fault, "unreadable", "Leads to a {} at 0x{:08X} that can't be read: {}.",
                KindName(block.Kind), block.Address, WhyUnread(block.Address));
        if (reach == nullptr || block.End() > reach->End())
            reach = &block;
    }
}

std::string RomChecker::WhyUnread(std::uint32_t address) const {
    const auto header = KnownQuadlet(address);
    if (!header)
        return image_.empty() ? "no answer, or no usable length there" : "it is beyond the end of the image";
    const std::uint32_t length = *header >> 16;
    if (length == 0)
        return "its length is 0";
    if (length > MAX_BLOCK_QUADLETS)
        return fmt::format("its length of {} quadlets is beyond {}", length, MAX_BLOCK_QUADLETS);
    return fmt::format("its length of {} quadlets runs past the end of the image", length);
}

// Gaps only where it is known what all entries refer to, and that there is something: before a
// block that was read, or in the image.
void RomChecker::CheckUnreferred() {
    const bool rootRead = !rom_.Directories.empty() && rom_.Directories.front().RawData.size() >= 8;
    if (cutOff_ || !rootRead)
        return;
    const std::uint32_t limit = image_.empty() ? ROM_END : EndOfUse();
    std::vector<Use> uses = UsesByOffsets();
    std::uint32_t nextRead = std::numeric_limits<std::uint32_t>::max();
    for (auto block = blocks_.rbegin(); block != blocks_.rend(); ++block) {
        // How far a block goes that couldn't be read isn't known.
        const std::uint32_t end = block->Read() ? block->End() : nextRead;
        if (block->Read())
            nextRead = block->Address;
        uses.push_back({block->Address, end, nextRead <= limit});
    }
    if (!image_.empty())
        uses.push_back({limit, limit, true});
    std::sort(uses.begin(), uses.end());
    std::uint32_t reach = ROM_BASE;
    for (const Use& use : uses) {
        if (use.From > reach && use.From <= limit && (use.Inside || !image_.empty()))
            AddUnreferred(reach, use.From);
        reach = std::max(reach, use.To);
    }
}

// Quadlets of the ROM that CSR offsets refer to.
std::vector<RomChecker::Use> RomChecker::UsesByOffsets() const {
    std::vector<Use> uses;
    for (const ConfigRomDirectory& directory : rom_.Directories)
        for (const ConfigRomOffset& offset : directory.Offsets)
            if (const auto address = std::uint32_t(offset.Address); address >= ROM_BASE)
                uses.push_back({address, address + 4, false});
    return uses;
}

void RomChecker::AddUnreferred(std::uint32_t from, std::uint32_t to) {
    const std::uint32_t quadlets = (to - from) / 4;
    bool blank = !image_.empty();
    for (std::uint32_t at = from; blank && at < to; at += 4)
        blank = KnownQuadlet(at).value_or(0) == 0;
    if (quadlets == 1)
        Add(from, Verdict::Note, "unreferred", "Nothing refers to this quadlet{}.", blank ? ", which is 0" : "");
    else
        Add(from, Verdict::Note, "unreferred", "Nothing refers to the {} quadlets from here to 0x{:08X}{}.", quadlets,
            to - 4, blank ? ", all 0" : "");
}

// The image without its padding: zeros or erased flash.
std::uint32_t RomChecker::EndOfUse() const {
    std::size_t size = std::min<std::size_t>(image_.size(), MAX_OFFSET) & ~std::size_t{3};
    const std::uint32_t filling = size == 0 ? 0 : Quadlet(image_, size - 4);
    if (filling == 0 || filling == 0xFFFFFFFF)
        while (size > 0 && Quadlet(image_, size - 4) == filling)
            size -= 4;
    return ROM_BASE + std::uint32_t(size);
}

} // namespace basConfigRom

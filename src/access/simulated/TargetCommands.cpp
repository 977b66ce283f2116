#include "TargetCommands.h"
#include "MemoryMap.h"

#include <fmt/format.h>

#include <algorithm>

namespace simulator {
namespace {

constexpr std::uint8_t READ_KEY = 18;
constexpr std::uint32_t BAD_CRC_FLAG = 0xFFFFFFFF;
constexpr std::uint32_t LONGEST_CHUNK = 128;                            // of a console text
constexpr std::uint32_t SHELL_IS_ON = 0x80000000, SHELL_OVERFLOWED = 1; // bits of the status in protocol 1

Answer Words(std::initializer_list<std::uint32_t> values, std::int64_t workMs = 0) {
    Answer answer{{}, workMs * MILLISECOND};
    for (const std::uint32_t value : values)
        Append32(answer.operands, value, ByteOrder::Little);
    return answer;
}

std::uint32_t Word(ByteView bytes, std::size_t offset) {
    return Get32(bytes, offset, ByteOrder::Little);
}

EightBytes EightAt(ByteView bytes, std::size_t offset) {
    EightBytes eight;
    std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(offset), eight.size(), eight.begin());
    return eight;
}

} // namespace

const TargetCommands::Row* TargetCommands::Find(std::uint8_t code) {
    static constexpr Row rows[] = {
        {1, "HaltBootloader", 0, 0, false, HaltBootloader},
        {2, "ResetDevice", 1, 1, true, ResetDevice},
        {3, "ReadImageCRC", 1, 4, false, ReadImageCRC},
        {4, "DownloadStart", 10, 40, false, DownloadStart},
        {5, "DownloadBlock", 3, 12, false, DownloadBlock},
        {6, "DownloadEnd", 0, 0, false, DownloadEnd},
        {7, "SwitchTo1394Shell", 2, 8, true, SwitchTo1394Shell},
        {8, "ReadShellCharacters", 0, 0, true, ReadShellCharacters},
        {9, "WriteShellCharacters", 1, 4, true, WriteShellCharacters},
        {10, "ProgramGUID", 2, 8, false, ProgramGUID},
        {11, "ProgramMAC", 2, 8, false, ProgramMAC},
        {12, "InitializePersistentParams", 0, 0, false, InitializePersistentParams},
        {13, "InitializeConfigToFactoryDefaults", 0, 0, false, InitializeConfigToFactoryDefaults},
        {14, "SetDebugGUID", 2, 8, false, SetDebugGUID},
        {15, "GetDebugGUID", 0, 0, false, GetDebugGUID},
        {17, "StartImage", 1, 4, false, StartImage},
        {18, "ReadKey", 3, 12, false, ReadKey},
        {19, "WriteKey", 4, 16, false, WriteKey},
    };
    const auto* found =
        std::find_if(std::begin(rows), std::end(rows), [code](const Row& row) { return row.code == code; });
    return found == std::end(rows) ? nullptr : found;
}

TargetCommands::Result TargetCommands::Run(Target& target, const Request& request) {
    const Row* row = Find(request.code);
    const auto ignore = [&](const char* reason) -> Result {
        target.surroundings_.debugText(DEBUG_WARNING, fmt::format("command {} ignored: {}", request.code, reason));
        return std::nullopt;
    };
    if (row == nullptr)
        return ignore("unknown");
    const bool countFits = request.code >= READ_KEY ? request.count >= row->quadlets : request.count == row->quadlets;
    // Bytes of the write beyond the announced quadlets are ignored.
    const ByteView operands = request.operands.first(std::min(request.operands.size(), std::size_t{4} * request.count));
    if (!countFits || operands.size() < row->bytes)
        return ignore("wrong count of operands");
    if (!target.state_.inBootloader && !row->whileApplicationRuns)
        return ignore("the application is running");
    target.surroundings_.debugText(DEBUG_DETAIL, row->name);
    return row->handler(target, operands);
}

TargetCommands::Result TargetCommands::HaltBootloader(Target& target, ByteView) {
    target.awaitsHalt_ = false;
    return Words({});
}

TargetCommands::Result TargetCommands::ResetDevice(Target& target, ByteView operands) {
    target.Restart(operands[0] == 1);
    return std::nullopt;
}

TargetCommands::Result TargetCommands::ReadImageCRC(Target& target, ByteView operands) {
    CrcVerdict verdict = target.flash_.Check(operands[0]);
    if (target.fault_.badCrc)
        verdict.validity = 1; // 0 is good
    return Words({verdict.crc, verdict.validity}, target.description_.checkMs);
}

TargetCommands::Result TargetCommands::DownloadStart(Target& target, ByteView operands) {
    DownloadAnnouncement announcement;
    announcement.imageType = operands[0];
    announcement.identity.date = EightAt(operands, 4);
    announcement.identity.time = EightAt(operands, 12);
    announcement.identity.id = Word(operands, 20);
    announcement.identity.version = Word(operands, 24);
    announcement.address = Word(operands, 28);
    announcement.length = Word(operands, 32);
    announcement.crc = Word(operands, 36);
    if (!target.flash_.HasRoomFor(announcement))
        return Words({0});
    const std::uint32_t blockSize = target.flash_.Start(announcement);
    target.store_.SaveSection(target.state_, announcement.imageType);
    return Words({blockSize}, target.description_.eraseMs);
}

TargetCommands::Result TargetCommands::DownloadBlock(Target& target, ByteView operands) {
    const simulator::DownloadBlock block{Word(operands, 0), Word(operands, 4), Word(operands, 8)};
    const std::int32_t status = target.fault_.blockStatus ? *target.fault_.blockStatus
                                                          : target.flash_.Block(block, target.session_.RequestBuffer());
    return Words({block.number, static_cast<std::uint32_t>(status)});
}

TargetCommands::Result TargetCommands::DownloadEnd(Target& target, ByteView) {
    const bool loading = target.flash_.Loading();
    const CrcVerdict verdict = target.flash_.End(target.fault_.badCrc);
    if (loading)
        target.store_.SaveSection(target.state_, target.flash_.LoadedType());
    return Words({verdict.crc, verdict.validity}, target.description_.checkMs);
}

TargetCommands::Result TargetCommands::SwitchTo1394Shell(Target& target, ByteView) {
    target.console_.Prompt();
    return Words({});
}

TargetCommands::Result TargetCommands::ReadShellCharacters(Target& target, ByteView) {
    if (target.console_.IsRing())
        return Words({0}); // the ring is read directly
    const ShellConsole::Taken taken = target.console_.Take(target.console_.Capacity());
    const auto received = static_cast<std::uint32_t>(taken.characters.size());
    std::copy(taken.characters.begin(), taken.characters.end(), target.session_.ResponseBuffer().begin());
    if (target.description_.protocol == 3)
        return Words({received}); // even 256, which the host reads as 0
    const std::uint32_t status = SHELL_IS_ON | (taken.lost > 0 ? SHELL_OVERFLOWED : 0);
    Answer answer = Words({received, status, taken.lost, 0, 0, 0, 0});
    const ByteSpan operands(answer.operands);
    Put16(operands, 12, taken.head, ByteOrder::Big);
    Put16(operands, 14, 0, ByteOrder::Big);
    Put16(operands, 16, static_cast<std::uint16_t>(received), ByteOrder::Big);
    Put16(operands, 18, taken.tail, ByteOrder::Big);
    Put32(operands, 20, target.console_.Capacity(), ByteOrder::Big);
    Put16(operands, 24, taken.written, ByteOrder::Big);
    Put16(operands, 26, static_cast<std::uint16_t>(received), ByteOrder::Big);
    return answer;
}

TargetCommands::Result TargetCommands::WriteShellCharacters(Target& target, ByteView operands) {
    // Each chunk announces the length of the whole text.
    const std::uint32_t length = Word(operands, 0);
    if (target.textRemaining_ == 0 || target.textLength_ != length)
        target.textRemaining_ = target.textLength_ = length;
    const std::uint32_t chunk = std::min(LONGEST_CHUNK, target.textRemaining_);
    target.textRemaining_ -= chunk;
    const ByteView text = target.session_.RequestBuffer().first(chunk);
    target.console_.Input(Bytes(text.begin(), text.end()));
    return Words({});
}

TargetCommands::Result TargetCommands::ProgramGUID(Target& target, ByteView operands) {
    target.state_.guid = TurnQuadlets(EightAt(operands, 0));
    target.store_.SaveIdentity(target.state_);
    return Words({});
}

TargetCommands::Result TargetCommands::ProgramMAC(Target& target, ByteView operands) {
    target.state_.mac = TurnQuadlets(EightAt(operands, 0));
    target.store_.SaveIdentity(target.state_);
    return Words({});
}

TargetCommands::Result TargetCommands::InitializePersistentParams(Target& target, ByteView) {
    const TargetState factory = FactoryState(target.description_);
    target.state_.keys = factory.keys;
    target.state_.mac = factory.mac;
    target.store_.SaveKeys(target.state_);
    target.store_.SaveIdentity(target.state_);
    return Words({}, target.description_.eraseMs);
}

TargetCommands::Result TargetCommands::InitializeConfigToFactoryDefaults(Target&, ByteView) {
    return std::nullopt;
}

TargetCommands::Result TargetCommands::SetDebugGUID(Target& target, ByteView operands) {
    target.state_.debugGuid = EightAt(operands, 0);
    target.store_.SaveIdentity(target.state_);
    return Words({});
}

TargetCommands::Result TargetCommands::GetDebugGUID(Target& target, ByteView) {
    return Answer{Bytes(target.state_.debugGuid.begin(), target.state_.debugGuid.end()), 0};
}

TargetCommands::Result TargetCommands::StartImage(Target& target, ByteView operands) {
    const std::uint32_t type = Word(operands, 0);
    const bool startable = type == APPLICATION || type == DEBUGGER;
    if (!startable || !target.state_.sections[type].valid)
        return Words({BAD_CRC_FLAG});
    target.Restart(type == DEBUGGER); // the debugger belongs to the bootloader
    return std::nullopt;
}

TargetCommands::Result TargetCommands::ReadKey(Target& target, ByteView operands) {
    return Answer{target.keys_.Read(operands, target.session_.ResponseBuffer()), 0};
}

TargetCommands::Result TargetCommands::WriteKey(Target& target, ByteView operands) {
    bool changed = false;
    Answer answer{target.keys_.Write(operands, target.session_.RequestBuffer(), changed), 0};
    if (changed)
        target.store_.SaveKeys(target.state_);
    return answer;
}

} // namespace simulator

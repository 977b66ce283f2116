#include "NodeOfRecord.h"

#include "Twl1394api.h"
#include "basBootloader.h"

#include <fmt/format.h>

#include <algorithm>

namespace record {

namespace {

using recording::Bytes;
using recording::Entry;
using recording::Kind;

constexpr std::uint8_t RESET_DEVICE = 2, READ_CRC = 3, DOWNLOAD_START = 4, DOWNLOAD_BLOCK = 5, DOWNLOAD_END = 6,
                       FACTORY_DEFAULTS = 13, START_IMAGE = 17, READ_KEY = 18;
constexpr std::size_t GUID_QUADLET = 3;   // and the next one
constexpr std::size_t MOST_FAULTS = 1000; // a node that fails more often can't be described by single ones
constexpr std::uint32_t BUS_NAME = 0x31333934;

// Without an answer it isn't lost: these may have none.
bool NeedsAnswer(std::uint8_t code) {
    return code != RESET_DEVICE && code != FACTORY_DEFAULTS && code != START_IMAGE;
}

std::string AddressText(std::uint64_t address) {
    return fmt::format("0x{:012x}", address);
}

template <class Content> std::string HexOf(const Content& bytes) {
    return fmt::format("{:02x}", fmt::join(bytes, ""));
}

Json BytesJson(const Bytes& bytes) {
    const bool isText = std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte >= 0x20 && byte < 0x7F; });
    return isText ? Json(std::string(bytes.begin(), bytes.end())) : Json{{"hex", HexOf(bytes)}};
}

std::string Digits(const std::array<std::uint8_t, 8>& field, std::size_t count, const char* otherwise) {
    const std::string text(field.begin(), field.begin() + static_cast<std::ptrdiff_t>(count));
    return text.find_first_not_of("0123456789") == std::string::npos ? text : otherwise;
}

Json ImageJson(std::int32_t id, std::int32_t version, const std::array<std::uint8_t, 8>& date,
               const std::array<std::uint8_t, 8>& time) {
    return {{"id", static_cast<std::uint32_t>(id)},
            {"version", static_cast<std::uint32_t>(version)},
            {"date", Digits(date, 8, "20020101")},
            {"time", Digits(time, 6, "000000")}};
}

BootloaderInfoRegisters Decode(const Bytes& info) {
    return basBootloader::DecodeInfoRegisters(info, Little(info, 8) == basBootloader::BIG_ENDIAN_PROTOCOL);
}

} // namespace

void NodeOfRecord::Take(const Entry& entry) {
    const bool isWrite = entry.kind == Kind::Write;
    const std::optional<Header> header = HeaderOf(entry);
    if (isWrite && header)
        TakeRequest(entry, *header);
    if (entry.result == TWL1394_SUCCESS && !isWrite) {
        TakeRom(entry);
        TakeInfo(entry);
        TakeKeyPart(entry);
        if (header)
            TakeAnswer(entry, *header);
    }
    // What the simulated bus answers by itself isn't a fault.
    const bool native = entry.result == TWL1394_SUCCESS || entry.result == TWL1394_SHUTTING_DOWN ||
                        entry.result == TWL1394_BUS_RESET || (entry.result == TWL1394_ADDRESS_ERROR && !IsTarget());
    if (!native && !IsHost && !IsOff)
        NoteFailure(entry, "result", static_cast<std::uint32_t>(entry.result));
    ++seen_[{isWrite, entry.address}];
    if (isWrite && header)
        ++commands_[header->code];
}

void NodeOfRecord::NoteReset(const Entry& entry) {
    --seen_[{entry.kind == Kind::Write, entry.address}]; // Take has counted it
    NoteFailure(entry, "do", "busReset");
    ++seen_[{entry.kind == Kind::Write, entry.address}];
}

void NodeOfRecord::NoteUnplugged() {
    const auto last = std::find_if(faults_.rbegin(), faults_.rend(),
                                   [](const NodeFault& fault) { return fault.Value == "busReset"; });
    if (last != faults_.rend())
        last->Value = "unplug";
}

void NodeOfRecord::TakeRom(const Entry& entry) {
    if (entry.address < ROM || entry.address >= ROM_END)
        return;
    for (std::size_t at = 0; at + 4 <= entry.data.size() && entry.address + at < ROM_END; at += 4) {
        const Bytes& data = entry.data;
        rom_.try_emplace((entry.address - ROM + at) / 4, std::uint32_t{data[at]} << 24 |
                                                             std::uint32_t{data[at + 1]} << 16 |
                                                             std::uint32_t{data[at + 2]} << 8 | data[at + 3]);
    }
}

std::uint64_t NodeOfRecord::Guid() const {
    const auto upper = rom_.find(GUID_QUADLET), lower = rom_.find(GUID_QUADLET + 1);
    return upper == rom_.end() || lower == rom_.end() ? 0 : std::uint64_t{upper->second} << 32 | lower->second;
}

void NodeOfRecord::TakeInfo(const Entry& entry) {
    if (entry.address != INFO || entry.data.size() < INFO_SIZE)
        return;
    if (info_.empty())
        info_ = entry.data;
    inBootloader_ = Decode(entry.data).BootloaderVersion != 0;
    if (inBootloader_ && bootloaderInfo_.empty())
        bootloaderInfo_ = entry.data;
}

void NodeOfRecord::TakeRequest(const Entry& entry, const Header& header) {
    EndExchange();
    exchange_ = {header, {entry.data.begin() + HEADER_SIZE, entry.data.end()}, entry.end};
    exchange_.number = commands_[header.code];
    exchange_.answered = entry.result != TWL1394_SUCCESS || !NeedsAnswer(header.code) || !inBootloader_;
    mayRestart_ = header.code == RESET_DEVICE || header.code == START_IMAGE;
    if (mayRestart_)
        inBootloader_ = false; // until its registers tell
}

void NodeOfRecord::TakeAnswer(const Entry& entry, const Header& header) {
    exchange_.polled = true;
    if (!(header == exchange_.header)) {
        exchange_.lastPoll = entry.end;
        return;
    }
    if (!exchange_.answered)
        JudgeAnswer({entry.data.begin() + HEADER_SIZE, entry.data.end()});
    if (header.code == DOWNLOAD_START && eraseMs_ < 0)
        eraseMs_ = WorkTime(entry);
    if (header.code == DOWNLOAD_END && checkMs_ < 0)
        checkMs_ = WorkTime(entry);
    exchange_.answered = true;
}

// Between the last poll that came too early and this one.
std::int64_t NodeOfRecord::WorkTime(const Entry& answer) const {
    if (exchange_.lastPoll < exchange_.sent)
        return 0;
    return (std::midpoint(exchange_.lastPoll, answer.end) - exchange_.sent) / 1000;
}

void NodeOfRecord::JudgeAnswer(const Bytes& operands) {
    const std::uint32_t first = Little(operands, 0), second = Little(operands, 4);
    switch (exchange_.header.code) {
    case DOWNLOAD_START:
        if (maxBlockSize_ == 0)
            maxBlockSize_ = first;
        break;
    case DOWNLOAD_BLOCK:
        if (second != 0)
            NoteCommandFault("status", static_cast<std::int32_t>(second));
        break;
    case READ_CRC:
    case DOWNLOAD_END:
        if (second != 0)
            NoteCommandFault("do", "badCrc");
        break;
    case READ_KEY:
        key_.size = second;
        key_.part = first == 0 ? Little(operands, 8) : 0;
        key_.offset = Little(operands, 12);
        break;
    default:
        break;
    }
}

// The name may come in several passes; the value follows each answer in the Response Buffer.
void NodeOfRecord::TakeKeyPart(const Entry& entry) {
    constexpr std::size_t NAME = 12, LARGEST = 65536;
    if (entry.address != RESPONSE_BUFFER || exchange_.header.code != READ_KEY || key_.part == 0 || entry.isDigest)
        return;
    const Bytes& operands = exchange_.operands;
    const std::size_t length = Little(operands, 0), offset = Little(operands, 4);
    if (offset == 0)
        key_.name.assign(operands.begin() + std::min(NAME, operands.size()), operands.end());
    key_.name = key_.name.substr(0, std::min(key_.name.find('\0'), length));
    Bytes& value = key_.value;
    if (key_.offset == 0)
        value.clear();
    const std::size_t fits =
        std::min<std::size_t>({key_.part, entry.data.size(), key_.size - std::min(key_.size, key_.offset)});
    if (value.size() == key_.offset && value.size() + fits <= LARGEST)
        value.insert(value.end(), entry.data.begin(), entry.data.begin() + static_cast<std::ptrdiff_t>(fits));
    if (value.size() == key_.size && !key_.name.empty())
        keys_.try_emplace(key_.name, value); // a later value may have been written since
    key_.part = 0;
}

// The same transaction failing again is the same fault.
void NodeOfRecord::NoteFailure(const Entry& entry, const char* effect, const Json& value) {
    const bool isWrite = entry.kind == Kind::Write;
    const std::uint64_t before = seen_[{isWrite, entry.address}];
    const Json matching = {{"operation", isWrite ? "write" : "read"}, {"address", AddressText(entry.address)}};
    for (NodeFault& fault : faults_)
        if (fault.Effect == effect && fault.Value == value &&
            fault.Conditions.value("address", "") == matching["address"] &&
            fault.Conditions.value("operation", "") == matching["operation"] &&
            fault.Conditions["skip"].get<std::uint64_t>() + fault.Conditions["count"].get<std::uint64_t>() == before) {
            fault.Conditions["count"] = fault.Conditions["count"].get<std::uint64_t>() + 1;
            return;
        }
    if (faults_.size() >= MOST_FAULTS)
        return;
    NodeFault fault{matching, effect, value};
    fault.Conditions["skip"] = before;
    fault.Conditions["count"] = 1;
    faults_.push_back(std::move(fault));
}

void NodeOfRecord::NoteCommandFault(const char* effect, const Json& value) {
    faults_.push_back({{{"command", exchange_.header.code}, {"skip", exchange_.number}}, effect, value});
}

void NodeOfRecord::EndExchange() {
    if (!exchange_.answered && exchange_.polled)
        NoteCommandFault("do", "silence");
    exchange_.answered = true;
}

std::string NodeOfRecord::RomHex() const {
    std::string hex;
    for (std::size_t index = 0; index <= rom_.rbegin()->first; ++index) {
        const auto found = rom_.find(index);
        hex += fmt::format("{:08x}", found == rom_.end() ? 0 : found->second);
    }
    return hex;
}

void NodeOfRecord::DescribeTarget(Json& node) const {
    const BootloaderInfoRegisters info = Decode(info_);
    const BootloaderInfoRegisters second = bootloaderInfo_.empty() ? info : Decode(bootloaderInfo_);
    node["guid"] = fmt::format("{:02X}", fmt::join(info.GUID, ""));
    node["protocol"] = Little(info_, 8);
    node["mode"] = info.BootloaderVersion != 0 ? "bootloader" : "application";
    node["hardwareModelID"] = static_cast<std::uint32_t>(info.HardwareModelID);
    node["hardwareVersion"] = static_cast<std::uint32_t>(info.HardwareVersion);
    node["application"] =
        ImageJson(info.ApplicationID, info.ApplicationVersion, info.ApplicationDate, info.ApplicationTime);
    node["bootloader"] = ImageJson(0, second.BootloaderVersion == 0 ? 1 : second.BootloaderVersion, info.BootloaderDate,
                                   info.BootloaderTime);
    node["debugger"] = ImageJson(info.DebuggerID, info.DebuggerVersion, info.DebuggerDate, info.DebuggerTime);
    if (maxBlockSize_ != 0)
        node["maxBlockSize"] = maxBlockSize_;
    for (const auto& [key, time] :
         {std::pair{"eraseMs", eraseMs_}, {"checkMs", checkMs_}, {"rebootMs", AwayFor / 1000}})
        if (time > 0 || (time == 0 && key[0] != 'r'))
            node[key] = std::min<std::int64_t>(time, 600'000);
    if (Announces)
        node["announce"] = true;
    for (const auto& [name, value] : keys_)
        node["keys"][name] = BytesJson(value);
}

Json NodeOfRecord::Description() const {
    Json node;
    const bool isMinimal = !rom_.empty() && rom_.begin()->first == 0 && rom_.begin()->second >> 24 == 1;
    node["kind"] = IsHost ? "host" : IsOff ? "off" : IsTarget() ? "target" : isMinimal ? "debugger" : "device";
    if (IsTarget() && !IsHost)
        DescribeTarget(node);
    const auto name = rom_.find(1);
    if (!IsOff && isMinimal && !IsHost)
        node["vendor"] = rom_.begin()->second & 0xFFFFFF;
    else if (!IsOff && name != rom_.end() && name->second == BUS_NAME)
        node["romImage"] = {{"hex", RomHex()}};
    return node;
}

} // namespace record

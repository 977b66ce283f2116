#include "BusDescription.h"
#include "JsonReader.h"
#include "RomImage.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <filesystem>

namespace simulator {
namespace {

constexpr std::size_t MAXIMUM_NODES = 63; // IEEE 1394-1995: node numbers 0 to 62
constexpr std::size_t MAXIMUM_KEY_BYTES = 65536;
constexpr std::int64_t MAXIMUM_MS = 600'000;

std::string Resolve(const std::string& path, const std::string& baseDirectory) {
    return path.empty() ? path : (std::filesystem::path(baseDirectory) / path).lexically_normal().string();
}

EightBytes ReadGuid(ObjectReader& reader, const EightBytes* otherwise) {
    Bytes bytes;
    if (!reader.Has("guid") && otherwise != nullptr)
        return *otherwise;
    if (!FromHex(reader.Text("guid", ""), bytes) || bytes.size() != 8)
        reader.Refuse("guid", "must be 16 hex digits");
    EightBytes guid{};
    std::copy(bytes.begin(), bytes.end(), guid.begin());
    return guid;
}

EightBytes ReadDigits(ObjectReader& reader, const char* key, std::size_t digits, const char* otherwise) {
    const std::string text = reader.Text(key, otherwise);
    if (text.size() != digits || text.find_first_not_of("0123456789") != std::string::npos)
        reader.Refuse(key, fmt::format("must be {} digits", digits));
    return ToEightBytes(text, '\0');
}

ImageIdentity ReadImage(ObjectReader& node, const char* key) {
    const Json* value = node.Find(key);
    const Json nothing = Json::object();
    ObjectReader reader(value == nullptr ? nothing : *value, node.PathOf(key));
    ImageIdentity image;
    image.id = reader.Number32("id", 0);
    image.version = reader.Number32("version", 1);
    image.date = ReadDigits(reader, "date", 8, "20020101");
    image.time = ReadDigits(reader, "time", 6, "000000");
    reader.Finish();
    return image;
}

KeyTable ReadKeys(ObjectReader& node) {
    KeyTable keys;
    const Json* value = node.Find("keys");
    if (value == nullptr)
        return keys;
    const ObjectReader reader(*value, node.PathOf("keys"));
    for (const auto& item : value->items()) {
        if (item.key().empty() || item.key().size() > 255)
            reader.Refuse(item.key(), "a key's name has 1 to 255 bytes");
        Bytes& bytes = keys[item.key()] = BytesFromJson(item.value(), reader.PathOf(item.key()));
        if (bytes.size() > MAXIMUM_KEY_BYTES)
            reader.Refuse(item.key(), fmt::format("is longer than {} bytes", MAXIMUM_KEY_BYTES));
    }
    return keys;
}

void ReadShell(ObjectReader& node, NodeDescription& description) {
    description.shellBanner = "ready\r\n";
    description.shellRing = 256;
    const Json* value = node.Find("shell");
    if (value == nullptr)
        return;
    ObjectReader reader(*value, node.PathOf("shell"));
    description.shellBanner = reader.Text("banner", description.shellBanner);
    // A ring of 1024 with its 8-byte header is the largest power of two that fits a single read.
    description.shellRing = static_cast<std::uint32_t>(reader.Number("ring", description.shellRing, 16, 1024));
    if (!std::has_single_bit(description.shellRing))
        reader.Refuse("ring", "must be a power of two, from 16 to 1024");
    reader.Finish();
}

Bytes ReadRomImage(ObjectReader& reader, const std::string& baseDirectory) {
    const Json* value = reader.Find("romImage");
    const bool isContent = value != nullptr && value->is_object();
    const std::string path = isContent ? "" : reader.Text("romImage", "");
    if (path.empty() && !isContent)
        return {};
    try {
        return isContent ? ToRomImage(BytesFromJson(*value, reader.PathOf("romImage")))
                         : LoadRomImage(Resolve(path, baseDirectory));
    } catch (const std::runtime_error& failure) {
        reader.Refuse("romImage", failure.what());
    }
}

void ReadTarget(ObjectReader& reader, NodeDescription& node) {
    node.guid = ReadGuid(reader, nullptr);
    node.protocol = reader.Number32("protocol", 1);
    if (node.protocol != 1 && node.protocol != 2 && node.protocol != 3 && node.protocol != PROTOCOL_BIG_ENDIAN)
        reader.Refuse("protocol", "must be 1, 2, 3 or 33554432 (0x2000000)");
    node.startsInBootloader = reader.Has("mode") && reader.Word("mode", {"application", "bootloader"}) == 1;
    node.vendor = reader.Text("vendor", "Tarnwell");
    node.model = reader.Text("model", "TX-9");
    node.hardwareModelId = reader.Number32("hardwareModelID", 17);
    node.hardwareVersion = reader.Number32("hardwareVersion", 0x01000000);
    for (const ImageType type : {APPLICATION, BOOTLOADER, DEBUGGER})
        node.images[type] = ReadImage(reader, SECTION_NAMES[type]);
    if (node.images[BOOTLOADER].version == 0)
        reader.Refuse("bootloader", "version must not be 0, which means that there is no bootloader");
    node.maxBlockSize = static_cast<std::uint32_t>(reader.Number("maxBlockSize", 1024, INT32_MIN, UINT32_MAX));
    node.eraseMs = reader.Number("eraseMs", 800, 0, MAXIMUM_MS);
    node.checkMs = reader.Number("checkMs", 100, 0, MAXIMUM_MS);
    node.rebootMs = reader.Number("rebootMs", 600, 0, MAXIMUM_MS);
    node.answerMs = reader.Number("answerMs", 0, 0, MAXIMUM_MS);
    node.announce = reader.Flag("announce", false);
    node.keys = ReadKeys(reader);
    ReadShell(reader, node);
}

void ReadDevice(ObjectReader& reader, NodeDescription& node, std::size_t index) {
    const EightBytes madeUp = {0x00, 0xA0, 0xB0, 0, 0, 0, 0, static_cast<std::uint8_t>(index)};
    node.guid = ReadGuid(reader, &madeUp);
    node.vendor = reader.Text("vendor", "Brightwater Imaging");
    node.model = reader.Text("model", "Camera");
    node.hardwareModelId = reader.Number32("hardwareModelID", 1);
    node.hardwareVersion = reader.Number32("hardwareVersion", 0x01000000);
}

NodeDescription ReadNode(const Json& value, std::size_t index, const std::string& baseDirectory) {
    ObjectReader reader(value, fmt::format("/nodes/{}", index));
    NodeDescription node;
    node.kind = static_cast<NodeKind>(reader.Word("kind", {"target", "device", "debugger", "off", "host"}));
    switch (node.kind) {
    case NodeKind::Target:
        ReadTarget(reader, node);
        node.romImage = ReadRomImage(reader, baseDirectory);
        break;
    case NodeKind::Device:
        ReadDevice(reader, node, index);
        node.romImage = ReadRomImage(reader, baseDirectory);
        break;
    case NodeKind::Debugger:
        node.vendorId = static_cast<std::uint32_t>(reader.Number("vendor", 0x000A27, 0, 0xFFFFFF));
        break;
    case NodeKind::Host:
        node.romImage = ReadRomImage(reader, baseDirectory);
        break;
    case NodeKind::Off:
        break;
    }
    reader.Finish();
    return node;
}

void ReadNodes(const Json* values, const std::string& baseDirectory, std::vector<NodeDescription>& nodes) {
    if (values == nullptr)
        throw DescriptionError("/nodes", "must be an array of nodes");
    for (std::size_t i = 0; i < values->size(); ++i) {
        const auto isHost = [](const NodeDescription& node) { return node.kind == NodeKind::Host; };
        nodes.push_back(ReadNode((*values)[i], i, baseDirectory));
        if (isHost(nodes.back()) && std::count_if(nodes.begin(), nodes.end(), isHost) > 1)
            throw DescriptionError(fmt::format("/nodes/{}/kind", i), "there is a host already");
    }
    if (std::none_of(nodes.begin(), nodes.end(), [](const auto& node) { return node.kind == NodeKind::Host; }))
        nodes.emplace_back().kind = NodeKind::Host;
    if (nodes.size() > MAXIMUM_NODES)
        throw DescriptionError("/nodes", fmt::format("a bus holds {} nodes, the host included", MAXIMUM_NODES));
}

// The only command that an action can apply to, if there is one.
void CheckCommand(const ObjectReader& reader, const FaultDescription& fault) {
    if (fault.action == FaultAction::BadCrc && fault.command != 6 && fault.command != 3)
        reader.Refuse("do", "\"badCrc\" goes with \"command\": 6 or 3");
    if (fault.action == FaultAction::Status && fault.command != 5)
        reader.Refuse("status", "goes with \"command\": 5");
    if (fault.command && fault.isWrite == false)
        reader.Refuse("operation", "a command is written, not read");
}

// Unplugging is an event of its own unless it waits for a certain transaction.
void CheckStandalone(ObjectReader& reader, FaultDescription& fault, const std::vector<NodeDescription>& nodes) {
    const bool waits = fault.isWrite || fault.address || fault.command;
    const bool pulls =
        fault.action == FaultAction::Unplug || fault.action == FaultAction::Plug || fault.action == FaultAction::Vanish;
    if (pulls && !fault.node)
        reader.Refuse("node", "must say which node");
    if (pulls && nodes[*fault.node].kind == NodeKind::Host)
        reader.Refuse("node", "this computer can't be unplugged");
    if (fault.action == FaultAction::Vanish && nodes[*fault.node].kind != NodeKind::Target)
        reader.Refuse("node", "only a target can vanish");
    if (fault.action == FaultAction::Plug && waits)
        reader.Refuse("do", "\"plug\" can only wait with \"afterTransactions\"");
    fault.standalone =
        !waits && (pulls || (fault.action == FaultAction::BusReset && !fault.node && reader.Has("afterTransactions")));
    for (const char* key : {"skip", "count"})
        if (fault.standalone && reader.Has(key))
            reader.Refuse(key, "needs an operation, an address or a command to count");
}

void ReadFaultAction(ObjectReader& reader, FaultDescription& fault) {
    const int effects = int{reader.Has("result")} + int{reader.Has("status")} + int{reader.Has("do")};
    if (effects != 1)
        reader.Refuse("do", "a fault has exactly one of \"result\", \"status\" and \"do\"");
    if (reader.Has("do")) {
        constexpr FaultAction first = FaultAction::BusReset;
        const auto word = reader.Word("do", {"busReset", "corrupt", "badCrc", "unplug", "plug", "vanish", "silence"});
        fault.action = static_cast<FaultAction>(static_cast<std::size_t>(first) + word);
        return;
    }
    const char* key = reader.Has("result") ? "result" : "status";
    fault.action = reader.Has("result") ? FaultAction::Result : FaultAction::Status;
    fault.code = static_cast<std::int32_t>(reader.Number(key, 0, INT32_MIN, UINT32_MAX));
}

FaultDescription ReadFault(const Json& value, std::size_t index, const std::vector<NodeDescription>& nodes) {
    ObjectReader reader(value, fmt::format("/faults/{}", index));
    FaultDescription fault;
    if (reader.Has("node")) {
        fault.node =
            static_cast<std::uint32_t>(reader.Number("node", 0, 0, static_cast<std::int64_t>(nodes.size()) - 1));
    }
    if (reader.Has("operation"))
        fault.isWrite = reader.Word("operation", {"read", "write"}) == 1;
    if (reader.Has("address"))
        fault.address = static_cast<std::uint64_t>(reader.Number("address", 0, 0, 0xFFFFFFFFFFFF));
    if (reader.Has("command"))
        fault.command = static_cast<std::uint8_t>(reader.Number("command", 0, 1, 255));
    fault.afterTransactions = static_cast<std::uint64_t>(reader.Number("afterTransactions", 0, 0, INT64_MAX));
    fault.skip = static_cast<std::uint64_t>(reader.Number("skip", 0, 0, INT64_MAX));
    fault.count = static_cast<std::uint64_t>(reader.Number("count", 1, 1, INT64_MAX));
    ReadFaultAction(reader, fault);
    CheckCommand(reader, fault);
    CheckStandalone(reader, fault, nodes);
    reader.Finish();
    return fault;
}

} // namespace

BusDescription ParseDescription(const std::string& json, const std::string& baseDirectory) {
    const Json document = ParseJson(json);
    ObjectReader reader(document, "");
    BusDescription bus;
    bus.transactionMicroseconds = reader.Number("transactionMicroseconds", 125, 0, 1'000'000);
    bus.stateDirectory = Resolve(reader.Text("stateDirectory", ""), baseDirectory);
    bus.traceFile = Resolve(reader.Text("trace", ""), baseDirectory);
    bus.virtualDevice = reader.Flag("virtualDevice", true);
    ReadNodes(reader.Array("nodes"), baseDirectory, bus.nodes);
    if (const Json* faults = reader.Array("faults"))
        for (std::size_t i = 0; i < faults->size(); ++i)
            bus.faults.push_back(ReadFault((*faults)[i], i, bus.nodes));
    reader.Finish();
    return bus;
}

} // namespace simulator

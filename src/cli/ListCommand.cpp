// hoistline list: the nodes on the bus.
#include "BusSession.h"
#include "Commands.h"
#include "DeviceChoice.h"
#include "Table.h"
#include "TwdPackage.h"
#include "bas1394.h"
#include "basBootloader.h"
#include "basConfigRom.h"

#include <algorithm>
#include <limits>

namespace cli {

namespace {

struct ListOptions {
    bool all = false, watch = false;
};

// What is known of a node, for a line or an object.
struct NodeFacts {
    int node = 0;
    std::string guid, vendor, model;
    // "application", "bootloader", "debugger", "duplicate", "host", "off", "other", "unreadable"
    std::string state;
    std::string application, bootloader;
    bool operator==(const NodeFacts&) const = default;
};

bool UnderDebugger(const Device& node) {
    return std::ranges::any_of(basBootloader::globals.DebuggerList,
                               [&](const Device& listed) { return listed.NodeNum == node.NodeNum; });
}

bool SharesGuid(const Device& node) {
    const CompatibleNode* compatible = CompatibleAt(node.NodeNum);
    return compatible != nullptr && NodesWithGuid(compatible->GUID).size() > 1;
}

std::string StateOf(const Device& node, const BootloaderTarget* target) {
    if (node.NodeNum == bas1394::globals.LocalHostNode)
        return "host";
    if (node.SelfId.LinkActive == 0)
        return "off";
    if (SharesGuid(node))
        return "duplicate"; // no call can mean it
    if (target != nullptr)
        return ModeOf(*target);
    if (UnderDebugger(node))
        return "debugger";
    return node.ConfigRom.RawData.size() < 2 ? "unreadable" : "other";
}

NodeFacts FactsOf(const Device& node) {
    const BootloaderTarget* target = TargetAt(node);
    NodeFacts facts;
    facts.node = node.NodeNum;
    facts.state = StateOf(node, target);
    if (facts.state == "off" || facts.state == "unreadable" || facts.state == "host")
        return facts;
    if (node.ConfigRom.GUID != std::array<std::uint8_t, 8>{})
        facts.guid = GuidText(node.ConfigRom.GUID);
    facts.vendor = basConfigRom::GetConfigRomVendorText(node.ConfigRom);
    facts.model = basConfigRom::GetConfigRomModelText(node.ConfigRom);
    if (const CompatibleNode* compatible = CompatibleAt(node.NodeNum))
        facts.guid = GuidText(compatible->GUID);
    if (target == nullptr || facts.state == "duplicate") // its record is of any of them
        return facts;
    facts.application = basBootloader::FormatVersion(target->Info.ApplicationVersion);
    if (target->Info.BootloaderVersion != 0)
        facts.bootloader = basBootloader::FormatVersion(target->Info.BootloaderVersion);
    return facts;
}

std::vector<NodeFacts> NodesOf(bool all) {
    std::vector<NodeFacts> nodes;
    const auto add = [&nodes](const std::vector<Device>& from) {
        for (const Device& node : from)
            if (node.NodeNum != NO_NODE)
                nodes.push_back(FactsOf(node));
    };
    add(bas1394::globals.DeviceTable);
    if (all)
        add(bas1394::globals.HiddenNodes);
    std::ranges::sort(nodes, {}, &NodeFacts::node);
    return nodes;
}

std::string OrDash(const std::string& text) {
    return text.empty() ? "-" : text;
}

TableRow RowOf(const NodeFacts& node) {
    return {fmt::format("#{}", node.node), OrDash(node.guid),   node.state,        OrDash(node.application),
            OrDash(node.bootloader),       OrDash(node.vendor), OrDash(node.model)};
}

Json ToJson(const NodeFacts& node) {
    const auto text = [](const std::string& value) { return value.empty() ? Json(nullptr) : Json(value); };
    return {{"node", node.node},
            {"guid", text(node.guid)},
            {"vendor", text(node.vendor)},
            {"model", text(node.model)},
            {"state", node.state},
            {"applicationVersion", text(node.application)},
            {"bootloaderVersion", text(node.bootloader)}};
}

const TableRow HEADERS = {"NODE", "GUID", "STATE", "APPLICATION", "BOOTLOADER", "VENDOR", "MODEL"};

void PrintNodes(Call& call, const std::vector<NodeFacts>& nodes) {
    std::vector<TableRow> rows{HEADERS};
    std::ranges::transform(nodes, std::back_inserter(rows), RowOf);
    PrintTable(call, rows);
}

Json NodesJson(const std::vector<NodeFacts>& nodes) {
    Json array = Json::array();
    for (const NodeFacts& node : nodes)
        array.push_back(ToJson(node));
    return array;
}

// A device keeps its GUID, and this computer is one, while node numbers change; other nodes are known by theirs.
bool SameDevice(const NodeFacts& a, const NodeFacts& b) {
    if (a.guid.empty() && b.guid.empty())
        return a.state == "host" ? b.state == "host" : a.node == b.node;
    return a.guid == b.guid && (a.state != "duplicate" || b.state != "duplicate" || a.node == b.node);
}

void TellChange(Call& call, const char* event, const NodeFacts& node) {
    if (!call.WantsLines())
        return call.PrintEvent({{"event", event}, {"node", ToJson(node)}});
    call.Print(fmt::format("{:<9} {}", event, TableLines({RowOf(node)}).front()));
}

void TellChanges(Call& call, const std::vector<NodeFacts>& before, const std::vector<NodeFacts>& now) {
    const auto counterpart = [](const std::vector<NodeFacts>& nodes, const NodeFacts& node) {
        return std::ranges::find_if(nodes, [&](const NodeFacts& other) { return SameDevice(node, other); });
    };
    for (const NodeFacts& node : before)
        if (counterpart(now, node) == now.end())
            TellChange(call, "departed", node);
    for (const NodeFacts& node : now) {
        const auto old = counterpart(before, node);
        if (old == before.end())
            TellChange(call, "arrived", node);
        else if (!(*old == node))
            TellChange(call, "changed", node);
    }
}

// Until a signal or the time limit ends it, which is how a watch ends well.
void Watch(Call& call, bool all) {
    call.streamed = true;
    std::vector<NodeFacts> shown = NodesOf(all);
    bool complete = false;
    call.frontEnd->onResetComplete = [&] { complete = true; };
    if (call.WantsLines())
        PrintNodes(call, shown);
    else
        for (const NodeFacts& node : shown)
            TellChange(call, "present", node);
    while (call.Wait([&] { return complete; }, std::numeric_limits<std::int32_t>::max())) {
        complete = false;
        std::vector<NodeFacts> now = NodesOf(all);
        TellChanges(call, std::exchange(shown, now), now);
    }
    call.frontEnd->onResetComplete = nullptr;
}

void List(Call& call, const ListOptions& options) {
    BusSession session(call);
    if (!session.OpenBus())
        return;
    if (options.watch)
        return Watch(call, options.all);
    const std::vector<NodeFacts> nodes = NodesOf(options.all);
    call.report.Answer = {{"nodes", NodesJson(nodes)}};
    PrintNodes(call, nodes);
}

} // namespace

void AddList(CommandSet& set) {
    auto options = std::make_shared<ListOptions>();
    CLI::App* command = set.Add("list", "list the nodes on the bus", [options](Call& call) { List(call, *options); });
    command->add_flag("--all", options->all,
                      "also show nodes of other vendors, without power or without a readable ROM");
    command->add_flag("--watch", options->watch, "go on with arrivals and departures until Ctrl+C");
}

} // namespace cli

#include "DeviceChoice.h"

#include "CodePage.h"
#include "bas1394.h"
#include "basBootloader.h"
#include "basConfigRom.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <optional>
#include <vector>

namespace cli {

namespace {

// A device's name as typed. Neither part: any device.
struct DeviceName {
    std::optional<int> node;
    std::string guid; // 16 digits in capitals
};

// False when the text is neither.
bool Parse(const std::string& typed, DeviceName& name) {
    std::string text = platform::UpperCase(typed);
    std::erase_if(text, [](char c) { return c == ' ' || c == '\t'; });
    if (text.empty())
        return platform::Trim(typed).empty();
    if (text.front() == '#') {
        int node = -1;
        const auto [end, error] = std::from_chars(text.data() + 1, text.data() + text.size(), node);
        name.node = node;
        return error == std::errc() && end == text.data() + text.size() && node >= 0 && node <= LAST_NODE;
    }
    if (text.starts_with("0X"))
        text.erase(0, 2);
    name.guid = text;
    return text.size() == 16 && text.find_first_not_of("0123456789ABCDEF") == std::string::npos;
}

bool Matches(const DeviceName& name, int node, const std::string& guid) {
    return (!name.node || *name.node == node) && (name.guid.empty() || name.guid == guid);
}

bool EndWithoutMatch(Call& call, const std::string& text, const char* what) {
    if (text.empty())
        return call.End(Verdict::NoDevice, fmt::format("There is no {} on the bus.", what));
    return call.End(Verdict::NoDevice, fmt::format("\"{}\" is no {} on the bus.", text, what));
}

bool EndWithSeveral(Call& call, const std::string& text, const std::vector<std::string>& names) {
    return call.End(Verdict::Ambiguous, text.empty()
                                            ? fmt::format("There are {} devices on the bus; name one of {}.",
                                                          names.size(), fmt::join(names, ", "))
                                            : fmt::format("\"{}\" could be any of {}.", text, fmt::join(names, ", ")));
}

bool EndWithDuplicates(Call& call, const CompatibleNode& device) {
    std::vector<std::string> nodes;
    for (const int node : NodesWithGuid(device.GUID))
        nodes.push_back(fmt::format("#{}", node));
    const std::string last = nodes.back();
    nodes.pop_back();
    return call.End(Verdict::Ambiguous,
                    fmt::format("Nodes {} and {} have the same GUID {}; disconnect {}.", fmt::join(nodes, ", "), last,
                                GuidText(device.GUID), nodes.size() == 1 ? "one" : "all but one"));
}

// Without this computer.
std::vector<const Device*> NodesNamed(const DeviceName& name, const std::vector<Device>& nodes) {
    std::vector<const Device*> found;
    for (const Device& node : nodes)
        if (node.NodeNum != NO_NODE && node.NodeNum != bas1394::globals.LocalHostNode &&
            Matches(name, node.NodeNum, GuidText(node.ConfigRom.GUID)))
            found.push_back(&node);
    return found;
}

} // namespace

std::string FaultOfName(const std::string& text) {
    DeviceName name;
    return Parse(text, name)
               ? ""
               : fmt::format("\"{}\" doesn't name a device: give a GUID of 16 hexadecimal digits, or \"#2\" for node 2",
                             text);
}

bool IsDeviceName(const std::string& text) {
    DeviceName name;
    return Parse(text, name) && (name.node || !name.guid.empty());
}

bool ChooseTarget(Call& call, const std::string& text, std::int32_t& handle) {
    DeviceName name;
    if (!Parse(text, name))
        return call.End(Verdict::Usage, FaultOfName(text) + ".");
    std::vector<const CompatibleNode*> found;
    for (const CompatibleNode& node : basBootloader::globals.CompatibleNodes)
        if (Matches(name, node.NodeNum, GuidText(node.GUID)))
            found.push_back(&node);
    std::vector<std::string> names;
    for (const CompatibleNode* node : found)
        if (const std::string guid = GuidText(node->GUID); std::ranges::find(names, guid) == names.end())
            names.push_back(guid);
    if (names.size() > 1)
        return EndWithSeveral(call, text, names);
    if (names.size() == 1 && NodesWithGuid(found.front()->GUID).size() > 1)
        return EndWithDuplicates(call, *found.front());
    handle = names.empty() ? 0 : basBootloader::GetDeviceHandleFromGuid(found.front()->GUID);
    if (const BootloaderTarget* target = TargetOf(handle); target == nullptr || !IsPresent(*target))
        return EndWithoutMatch(call, text, "device with a bootloader that this program knows");
    NoteDevice(call, handle);
    return true;
}

bool ChooseNode(Call& call, const std::string& text, Device& node) {
    DeviceName name;
    if (!Parse(text, name))
        return call.End(Verdict::Usage, FaultOfName(text) + ".");
    if (name.node == bas1394::globals.LocalHostNode)
        return call.End(Verdict::NoDevice, fmt::format("Node #{} is this computer; its ROM isn't read.", *name.node));
    std::vector<const Device*> found = NodesNamed(name, bas1394::globals.DeviceTable);
    if (found.size() != 1 || IsDeviceName(text))
        std::ranges::copy(NodesNamed(name, bas1394::globals.HiddenNodes), std::back_inserter(found));
    if (found.empty())
        return EndWithoutMatch(call, text, text.empty() ? "node but this computer" : "node");
    std::vector<std::string> names;
    std::ranges::transform(found, std::back_inserter(names),
                           [](const Device* candidate) { return fmt::format("#{}", candidate->NodeNum); });
    if (names.size() > 1)
        return EndWithSeveral(call, text, names);
    node = *found.front();
    return true;
}

const BootloaderTarget* TargetOf(std::int32_t handle) {
    const std::int32_t index = basBootloader::GetDeviceIndex(handle);
    return index < 0 ? nullptr : &basBootloader::globals.TargetList[static_cast<std::size_t>(index)];
}

bool IsPresent(const BootloaderTarget& target) {
    return target.Handle > 0 && target.Device.NodeNum != NO_NODE;
}

bool RunsBootloader(const BootloaderTarget& target) {
    return IsPresent(target) && target.Info.BootloaderVersion != 0;
}

const char* ModeOf(const BootloaderTarget& target) {
    return !IsPresent(target) ? "unknown" : RunsBootloader(target) ? "bootloader" : "application";
}

void NoteDevice(Call& call, std::int32_t handle) {
    const BootloaderTarget* target = TargetOf(handle);
    if (target == nullptr)
        return;
    NoteNode(call, target->Device);
    DeviceSummary& device = *call.report.Device;
    device.Guid = GuidText(target->Info.GUID);
    device.Node = IsPresent(*target) ? target->Device.NodeNum : -1;
    device.Mode = ModeOf(*target);
}

void NoteNode(Call& call, const Device& node) {
    DeviceSummary& device = call.report.Device.emplace();
    device.Guid = GuidText(node.ConfigRom.GUID);
    device.Node = node.NodeNum;
    device.Vendor = basConfigRom::GetConfigRomVendorText(node.ConfigRom);
    device.Model = basConfigRom::GetConfigRomModelText(node.ConfigRom);
    if (const BootloaderTarget* target = TargetAt(node))
        device.Mode = ModeOf(*target);
}

const BootloaderTarget* TargetAt(const Device& node) {
    for (const BootloaderTarget& target : basBootloader::globals.TargetList)
        if (IsPresent(target) && target.Device.NodeNum == node.NodeNum)
            return &target;
    return nullptr;
}

const CompatibleNode* CompatibleAt(int node) {
    const auto found = std::ranges::find(basBootloader::globals.CompatibleNodes, node, &CompatibleNode::NodeNum);
    return found == basBootloader::globals.CompatibleNodes.end() ? nullptr : &*found;
}

std::vector<int> NodesWithGuid(const std::array<std::uint8_t, 8>& guid) {
    std::vector<int> nodes;
    for (const CompatibleNode& node : basBootloader::globals.CompatibleNodes)
        if (node.GUID == guid)
            nodes.push_back(node.NodeNum);
    return nodes;
}

} // namespace cli

// Which device a call means.
#include "BusSession.h"
#include "CodePage.h"
#include "bas1394.h"
#include "basBootloader.h"

#include <algorithm>
#include <charconv>
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

bool EndWithBadName(Call& call, const std::string& text) {
    return call.End(Verdict::Usage, fmt::format("\"{}\" doesn't name a device: give a GUID of 16 hexadecimal digits, "
                                                "or \"#2\" for node 2.",
                                                text));
}

std::string Candidates(const std::vector<std::string>& names) {
    return fmt::format("{}", fmt::join(names, ", "));
}

// Nodes of the last discovery with this GUID. They share one record, so its handle could mean any of them.
std::int64_t NodesWithGuid(const std::array<std::uint8_t, 8>& guid) {
    return std::ranges::count(basBootloader::globals.CompatibleGuids, guid);
}

bool EndWithoutMatch(Call& call, const std::string& text, const char* what) {
    if (text.empty())
        return call.End(Verdict::NoDevice, fmt::format("There is no {} on the bus.", what));
    return call.End(Verdict::NoDevice, fmt::format("\"{}\" is no {} on the bus.", text, what));
}

bool EndWithSeveral(Call& call, const std::string& text, const std::vector<std::string>& names) {
    return call.End(Verdict::Ambiguous, text.empty()
                                            ? fmt::format("There are {} devices on the bus; name one of {}.",
                                                          names.size(), Candidates(names))
                                            : fmt::format("\"{}\" could be any of {}.", text, Candidates(names)));
}

std::string RomGuid(const Device& node) {
    return GuidText(node.ConfigRom.GUID);
}

} // namespace

bool ChooseTarget(Call& call, const std::string& text, std::int32_t& handle) {
    DeviceName name;
    if (!Parse(text, name))
        return EndWithBadName(call, text);
    std::vector<std::string> found;
    for (const BootloaderTarget& target : basBootloader::globals.TargetList) {
        if (!IsPresent(target) || !Matches(name, target.Device.NodeNum, GuidText(target.Info.GUID)))
            continue;
        handle = target.Handle;
        for (std::int64_t same = std::max<std::int64_t>(NodesWithGuid(target.Info.GUID), 1); same > 0; --same)
            found.push_back(GuidText(target.Info.GUID));
    }
    if (found.empty())
        return EndWithoutMatch(call, text, "device with a bootloader that this program knows");
    if (found.size() > 1)
        return EndWithSeveral(call, text, found);
    NoteDevice(call, handle);
    return true;
}

bool ChooseNode(Call& call, const std::string& text, Device& node) {
    DeviceName name;
    if (!Parse(text, name))
        return EndWithBadName(call, text);
    std::vector<std::string> found;
    for (const auto* nodes : {&bas1394::globals.DeviceTable, &bas1394::globals.HiddenNodes}) {
        for (const Device& candidate : *nodes) {
            const bool asked = name.node || !name.guid.empty() || nodes == &bas1394::globals.DeviceTable;
            if (!asked || candidate.NodeNum == NO_NODE || candidate.NodeNum == bas1394::globals.LocalHostNode ||
                !Matches(name, candidate.NodeNum, RomGuid(candidate)))
                continue;
            node = candidate;
            found.push_back(fmt::format("#{}", candidate.NodeNum));
        }
    }
    if (found.empty())
        return EndWithoutMatch(call, text, "node");
    if (found.size() > 1)
        return EndWithSeveral(call, text, found);
    return true;
}

} // namespace cli

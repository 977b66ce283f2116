// From the adapter to the permission to use it.
#include "Checks.h"
#include "UdevRule.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iterator>
#include <system_error>
#include <tuple>

namespace doctor {

namespace {

constexpr const char* DRIVER = "firewire_ohci";
constexpr std::uint32_t LEAST_VERSION = 4; // of the interface, from kernel 2.6.36 on

std::string NamesOf(const std::vector<const Node*>& nodes) {
    std::vector<std::string> names;
    std::ranges::transform(nodes, std::back_inserter(names), &Node::Name);
    return fmt::format("{}", fmt::join(names, ", "));
}

Finding MissingDriver(const Survey& survey, const Controller& controller) {
    const std::string bind = fmt::format("echo {} > /sys/bus/pci/drivers/{}/bind", controller.Address, DRIVER);
    if (!controller.Driver.empty())
        return {Health::Bad,
                fmt::format("The controller {} belongs to the driver {}, not to {}.", controller.Address,
                            controller.Driver, DRIVER),
                fmt::format("sudo sh -c 'echo {} > /sys/bus/pci/devices/{}/driver/unbind; modprobe {}; {}'",
                            controller.Address, controller.Address, DRIVER, bind)};
    if (!survey.moduleIsLoaded)
        return {Health::Bad,
                fmt::format("The controller {} has no driver; the module {} isn't loaded.", controller.Address, DRIVER),
                fmt::format("sudo modprobe {}", DRIVER)};
    return {Health::Bad,
            fmt::format("The controller {} has no driver, although {} is loaded.", controller.Address, DRIVER),
            fmt::format("sudo sh -c '{}'", bind)};
}

// Whether `file` can't be opened because of its mode.
bool IsDenied(const Node& file) {
    return file.File.Error == EACCES;
}

std::string WhyDenied(const Survey& survey, const Node& file) {
    std::vector<std::string> groups;
    for (const std::uint32_t group : survey.machine.Groups)
        groups.push_back(survey.machine.GroupName(group));
    return fmt::format("{} is {}, and {} has the groups {}; the udev rule {} {} installed.", file.Path, file.Access,
                       survey.machine.UserName, fmt::join(groups, ", "), RULE_FILE,
                       survey.ruleIsInstalled ? "is" : "isn't");
}

std::string CommandForAccess(const Survey& survey, const Node& file) {
    if (!survey.ruleIsInstalled)
        return fmt::format("sudo {} doctor --install-rule", survey.machine.Program);
    if (survey.machine.GroupName(file.Group) != RULE_GROUP) // the rule has come after the file
        return "sudo sh -c 'udevadm control --reload && udevadm trigger --subsystem-match=firewire'";
    if (std::ranges::find(survey.machine.Groups, file.Group) != survey.machine.Groups.end())
        return fmt::format("sudo chmod 0660 {}", file.Path);
    return fmt::format("sudo usermod -aG {} {}  # then log in again", RULE_GROUP, survey.machine.UserName);
}

Finding CheckPermission(const Survey& survey, const std::vector<const Node*>& files) {
    const auto bad = std::ranges::find_if(files, [](const Node* node) { return node->File.Error != 0; });
    if (bad == files.end())
        return {Health::Good, fmt::format("{} can be opened.", NamesOf(files))};
    const Node& file = **bad;
    if (IsDenied(file))
        return {Health::Bad, WhyDenied(survey, file), CommandForAccess(survey, file)};
    std::string reason = std::generic_category().message(file.File.Error);
    if (file.File.Error == EPERM)
        reason += "; a container has to be given the device";
    return {Health::Bad, fmt::format("{} can't be opened: {}.", file.Path, reason)};
}

} // namespace

const char* WordOf(Health health) {
    switch (health) {
    case Health::Good:
        return "good";
    case Health::Bad:
        return "bad";
    case Health::Unknown:
        break;
    }
    return "unknown";
}

std::string TextOf(const Finding& finding) {
    return finding.Found + (finding.Command.empty() ? "" : "  Mend it with: " + finding.Command);
}

Finding CheckKernel(const Survey& survey) {
    for (const Bus& bus : survey.buses)
        if (bus.Local->File.Version < LEAST_VERSION)
            return {Health::Bad,
                    fmt::format("The kernel's interface has version {}; version {}, of kernel 2.6.36, is needed.",
                                bus.Local->File.Version, LEAST_VERSION)};
    int major = 0, minor = 0, patch = 0;
    if (std::sscanf(survey.machine.Release.c_str(), "%d.%d.%d", &major, &minor, &patch) < 2)
        return {Health::Unknown, "The kernel's release isn't known."};
    if (std::tuple(major, minor, patch) < std::tuple(2, 6, 36))
        return {Health::Bad, fmt::format("Kernel {} is too old; 2.6.36 is needed.", survey.machine.Release)};
    return {Health::Good, fmt::format("Kernel {} is new enough.", survey.machine.Release)};
}

Finding CheckController(const Survey& survey) {
    std::vector<std::string> addresses;
    for (const Controller& controller : survey.controllers)
        addresses.push_back(controller.Address);
    if (!addresses.empty())
        return {Health::Good, fmt::format("PCI device {}.", fmt::join(addresses, ", "))};
    if (!survey.nodes.empty())
        return {Health::Good, "There is one, which isn't a PCI device."};
    return {Health::Bad, "This machine has no IEEE 1394 controller (PCI class 0c0010); add an adapter."};
}

Finding CheckDriver(const Survey& survey) {
    const auto isBound = [](const Controller& controller) { return controller.Driver == DRIVER; };
    if (survey.controllers.empty())
        return {Health::Unknown, "There is no controller for it."};
    if (std::ranges::none_of(survey.controllers, isBound))
        return MissingDriver(survey, survey.controllers.front());
    std::string others;
    for (const Controller& controller : survey.controllers)
        if (!isBound(controller))
            others += fmt::format("; {} has {}", controller.Address,
                                  controller.Driver.empty() ? "no driver" : controller.Driver);
    return {Health::Good,
            fmt::format("{} has {}{}.", std::ranges::find_if(survey.controllers, isBound)->Address, DRIVER, others)};
}

Finding CheckDeviceFiles(const Survey& survey) {
    if (survey.nodes.empty() && CheckDriver(survey).Verdict != Health::Good)
        return {Health::Unknown, "There is no controller with a driver."};
    if (std::ranges::none_of(survey.nodes, &Node::IsLocal))
        return {Health::Bad, "The driver has a controller but no bus: its start has failed.",
                fmt::format("sudo sh -c 'modprobe -r {} && modprobe {}; dmesg | tail'", DRIVER, DRIVER)};
    const auto missing = std::ranges::find_if(survey.nodes, [](const Node& node) { return node.Path.empty(); });
    if (missing != survey.nodes.end())
        return {Health::Bad,
                fmt::format("The kernel has {0}, but there is no {1}/{0}: udev isn't at work, or this is a container "
                            "without the device.",
                            missing->Name, survey.machine.Dev),
                "sudo udevadm trigger --subsystem-match=firewire"};
    std::vector<const Node*> nodes;
    for (const Node& node : survey.nodes)
        nodes.push_back(&node);
    return {Health::Good, fmt::format("{} in {}.", NamesOf(nodes), survey.machine.Dev)};
}

Finding CheckLocalPermission(const Survey& survey) {
    if (survey.Locals().empty())
        return {Health::Unknown, "There is no device file of this computer's adapter."};
    return CheckPermission(survey, survey.Locals());
}

Finding CheckRemotePermission(const Survey& survey) {
    if (survey.Targets().empty())
        return {Health::Unknown, "There is no device file of a node of vendor 000F1B."};
    return CheckPermission(survey, survey.Targets());
}

std::vector<Row> Examine(const Machine& machine) {
    using Check = Finding (*)(const Survey&);
    const std::tuple<const char*, Harm, Check> checks[] = {{"kernel", Harm::Bus, CheckKernel},
                                                           {"controller", Harm::Bus, CheckController},
                                                           {"driver", Harm::Bus, CheckDriver},
                                                           {"device-files", Harm::Bus, CheckDeviceFiles},
                                                           {"local-permission", Harm::Bus, CheckLocalPermission},
                                                           {"remote-permission", Harm::Devices, CheckRemotePermission},
                                                           {"nodes", Harm::Devices, CheckNodes},
                                                           {"power", Harm::Devices, CheckPower},
                                                           {"roms", Harm::Devices, CheckRoms},
                                                           {"address-range", Harm::Transfers, CheckAddressRange},
                                                           {"speed", Harm::Transfers, CheckSpeed}};
    const Survey survey(machine);
    std::vector<Row> rows;
    for (const auto& [name, harm, check] : checks)
        rows.push_back({check(survey), name, harm});
    return rows;
}

} // namespace doctor

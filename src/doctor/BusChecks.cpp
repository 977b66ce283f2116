// What is on the bus, and what it lets us do.
#include "Checks.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <system_error>

namespace doctor {

namespace {

// What the program allocates on the adapter: where a target's debugger writes to.
constexpr std::uint64_t RANGE = 0xFFFFC8029000;
constexpr std::uint32_t RANGE_SIZE = 0x40;
constexpr unsigned LONGEST_BLOCK = 2048; // bytes, of a target's buffers
constexpr unsigned BLOCK_AT_S100 = 512;

constexpr const char* NO_TOPOLOGY = "The topology of the bus can't be read.";

bool IsOn(std::uint32_t selfId) {
    constexpr std::uint32_t linkActive = 1U << 22;
    return (selfId & linkActive) != 0;
}

bool KnowsTopology(const Survey& survey) {
    return std::ranges::any_of(survey.buses, [](const Bus& bus) { return !bus.SelfIds.empty(); });
}

// Besides this computer.
std::size_t CountNodes(const Survey& survey) {
    std::size_t count = 0;
    for (const Bus& bus : survey.buses)
        count += bus.SelfIds.empty() ? bus.RemoteNodes : bus.SelfIds.size() - 1;
    return count;
}

std::string RangeText() {
    return fmt::format("The address range {:012X}, {} bytes,", RANGE, RANGE_SIZE);
}

// Who may have taken it.
Finding TakenRange(const Survey& survey) {
    std::vector<std::string> suspects;
    std::string driver;
    for (const Holder& holder : survey.Holders())
        suspects.push_back(fmt::format("{} with {}", holder.Process, holder.File));
    for (const Node& node : survey.nodes)
        for (const std::string& each : node.Drivers) {
            suspects.push_back(fmt::format("the kernel's driver {} at {}", each, node.Name));
            driver = each;
        }
    return {Health::Bad,
            fmt::format("{} is taken; candidates: {}.", RangeText(),
                        suspects.empty() ? "a process of another user" : fmt::format("{}", fmt::join(suspects, ", "))),
            driver.empty() ? "" : "sudo modprobe -r " + driver};
}

} // namespace

Finding CheckNodes(const Survey& survey) {
    if (survey.buses.empty())
        return {Health::Unknown, "There is no adapter that can be opened."};
    if (CountNodes(survey) == 0)
        return {Health::Bad, "Only this computer is on the bus; check cable and power of the device."};
    const auto targets = std::ranges::count_if(survey.nodes, &Node::IsTarget);
    if (targets == 0)
        return {Health::Bad,
                fmt::format("Besides this computer {} on the bus, none known to be of vendor 000F1B.",
                            CountNodes(survey) == 1 ? "one node is" : fmt::format("{} nodes are", CountNodes(survey)))};
    return {Health::Good,
            fmt::format("On the bus besides this computer: {}; of vendor 000F1B: {}.", CountNodes(survey), targets)};
}

Finding CheckPower(const Survey& survey) {
    if (!KnowsTopology(survey))
        return {Health::Unknown, NO_TOPOLOGY};
    std::vector<std::string> off;
    for (const Bus& bus : survey.buses)
        for (std::size_t node = 0; node < bus.SelfIds.size(); ++node)
            if (!IsOn(bus.SelfIds[node]))
                off.push_back(fmt::format("node {} on the bus of {}", node, bus.Local->Name));
    if (off.empty())
        return {Health::Good, "All nodes are on."};
    return {Health::Bad, fmt::format("Off (it only repeats the signal): {}; switch it on.", fmt::join(off, ", "))};
}

Finding CheckRoms(const Survey& survey) {
    if (!KnowsTopology(survey))
        return {Health::Unknown, NO_TOPOLOGY};
    for (const Bus& bus : survey.buses) {
        const auto on = static_cast<std::size_t>(std::ranges::count_if(bus.SelfIds, IsOn));
        if (on > bus.RemoteNodes + 1)
            return {Health::Bad,
                    fmt::format("The kernel hasn't read the config ROM of {} of the {} other nodes that are on, on the "
                                "bus of {}; right after a bus reset it may take three seconds.",
                                on - 1 - bus.RemoteNodes, on - 1, bus.Local->Name),
                    fmt::format("{} --bus kernel bus-reset", survey.machine.Program)};
    }
    return {Health::Good, "The kernel has read the config ROM of each node that is on."};
}

Finding CheckAddressRange(const Survey& survey) {
    for (const Bus& bus : survey.buses) {
        const int error = survey.machine.TryRange(bus.Local->Path, RANGE, RANGE_SIZE);
        if (error == EBUSY)
            return TakenRange(survey);
        if (error != 0)
            return {Health::Bad,
                    fmt::format("{} can't be had: {}.", RangeText(), std::generic_category().message(error))};
    }
    if (survey.buses.empty())
        return {Health::Unknown, "There is no adapter that can be opened."};
    return {Health::Good, fmt::format("{} is free.", RangeText())};
}

Finding CheckSpeed(const Survey& survey) {
    const Node* slowest = nullptr;
    for (const Node* node : survey.Targets())
        if (node->File.Error == 0 && node->File.Speed >= 0 &&
            (slowest == nullptr || node->File.Speed < slowest->File.Speed))
            slowest = node;
    if (slowest == nullptr)
        return {Health::Unknown, "There is no device of vendor 000F1B that can be opened."};
    const unsigned block = BLOCK_AT_S100 << slowest->File.Speed;
    const std::string speed = fmt::format("{} has S{}", slowest->Name, 100U << slowest->File.Speed);
    if (block < LONGEST_BLOCK)
        return {Health::Bad,
                fmt::format("{}, where a block has at most {} bytes; {} are needed. Replace what is slower than S400 "
                            "on the way to it.",
                            speed, block, LONGEST_BLOCK)};
    return {Health::Good, fmt::format("{}, enough for blocks of {} bytes.", speed, LONGEST_BLOCK)};
}

} // namespace doctor

#include "Latency.h"

#include "BusSession.h"
#include "Clock.h"
#include "DeviceChoice.h"
#include "DeviceMode.h"
#include "Table.h"
#include "WindowSystem.h"
#include "bas1394.h"
#include "basBootloader.h"
#include "basConfigRom.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

namespace cli {

namespace {

constexpr int READS = 1000;
constexpr int MOST_FAILURES = 20; // in a row: each costs a time-out and a line of the log
constexpr std::int32_t DEFAULT_TIMEOUT = -1;

// What is read of a node.
struct Register {
    const char* name;
    bas1394::Address1394 address;
    std::int32_t bytes;
};

// A node, and the generation of the bus in which it has its number.
struct NumberedNode {
    Device device;
    std::int32_t generation = bas1394::globals.TopologyMap.Generation;
};

struct Series {
    NumberedNode node;
    Register what;
    int reads = 0;                         // carried out
    std::vector<std::int64_t> nanoseconds; // of those that succeeded
    std::string trouble;                   // why there are no more; empty for a whole series

    [[nodiscard]] std::size_t Failures() const { return static_cast<std::size_t>(reads) - nanoseconds.size(); }
};

Register RomHeader() {
    return {"rom-header", {0xFFFF, basConfigRom::ROM_BASE}, 4};
}

Register InfoRegisters() {
    return {"info-registers", basBootloader::globals.RegisterBase, basBootloader::INFO_BYTES};
}

bool CanBeRead(const Device& node) {
    return node.NodeNum != NO_NODE && node.NodeNum != bas1394::globals.LocalHostNode && node.SelfId.LinkActive != 0 &&
           node.ConfigRom.RawData.size() >= 2;
}

// By node number.
std::vector<Device> ReadableNodes() {
    std::vector<Device> nodes;
    for (const auto* table : {&bas1394::globals.DeviceTable, &bas1394::globals.HiddenNodes})
        std::ranges::copy_if(*table, std::back_inserter(nodes), CanBeRead);
    std::ranges::sort(nodes, {}, &Device::NodeNum);
    return nodes;
}

bool HasGuid(const Device& node) {
    return node.ConfigRom.GUID != std::array<std::uint8_t, 8>{};
}

// After a bus reset the device may have another number. False when it isn't certain which one.
bool FindAgain(NumberedNode& node) {
    std::vector<Device> nodes = ReadableNodes();
    std::erase_if(nodes, [&](const Device& other) { return other.ConfigRom.GUID != node.device.ConfigRom.GUID; });
    if (nodes.size() != 1 || !HasGuid(node.device))
        return false;
    node = {nodes.front()};
    return true;
}

// Whether its number is the node's own now.
bool IsThere(Call& call, NumberedNode& node) {
    return SettleBus(call) && (node.generation == bas1394::globals.TopologyMap.Generation || FindAgain(node));
}

void ReadOnce(Series& series) {
    ByteArray bytes;
    const std::int64_t start = platform::QueryPerformanceCounter();
    const std::int32_t code = bas1394::AsyncReadWrapperVB(series.node.device, series.what.address, series.what.bytes,
                                                          false, DEFAULT_TIMEOUT, bytes);
    const std::int64_t end = platform::QueryPerformanceCounter();
    ++series.reads;
    if (code == bas1394::RESULT_SUCCESS)
        series.nanoseconds.push_back(end - start);
}

Series Measure(Call& call, const NumberedNode& node, const Register& what) {
    Series series{node, what, 0, {}, {}};
    int inARow = 0; // failures
    while (series.reads < READS && series.trouble.empty() && !call.MustEnd()) {
        if (!IsThere(call, series.node)) {
            series.trouble = "It isn't found after a bus reset.";
            continue;
        }
        const std::size_t failures = series.Failures();
        ReadOnce(series);
        inARow = series.Failures() > failures ? inARow + 1 : 0;
        if (inARow == MOST_FAILURES)
            series.trouble = "It doesn't answer.";
    }
    return series;
}

// A device that another program loads is left alone.
std::vector<Series> MeasureNode(Call& call, const NumberedNode& node) {
    std::vector<Series> all{Measure(call, node, RomHeader())};
    const NumberedNode now = all.back().node;
    const BootloaderTarget* target = TargetAt(now.device);
    if (target == nullptr || !RunsBootloader(*target) || !all.back().trouble.empty() || call.Ended())
        return all;
    if (basBootloader::LoadedByAnother(target->Handle))
        call.Tell(
            fmt::format("Another program is loading node #{}; its info registers aren't read.", now.device.NodeNum));
    else
        all.push_back(Measure(call, now, InfoRegisters()));
    return all;
}

Json ToJson(const Series& series) {
    const Device& node = series.node.device;
    Json times = nullptr;
    if (!series.nanoseconds.empty()) {
        const Quantiles quantiles = QuantilesOf(series.nanoseconds);
        for (std::size_t i = 0; i < quantiles.size(); ++i)
            times[QUANTILES[i].first] = quantiles[i];
    }
    return {{"node", node.NodeNum},     {"guid", HasGuid(node) ? Json(GuidText(node.ConfigRom.GUID)) : Json(nullptr)},
            {"read", series.what.name}, {"bytes", series.what.bytes},
            {"reads", series.reads},    {"failures", series.Failures()},
            {"microseconds", times}};
}

TableRow RowOf(const Series& series) {
    const Device& node = series.node.device;
    TableRow row = {fmt::format("#{}", node.NodeNum),
                    HasGuid(node) ? GuidText(node.ConfigRom.GUID) : "-",
                    series.what.name,
                    fmt::format("{}", series.what.bytes),
                    fmt::format("{}", series.reads),
                    fmt::format("{}", series.Failures())};
    if (series.nanoseconds.empty())
        row.resize(row.size() + QUANTILES.size(), "-");
    else
        std::ranges::transform(QuantilesOf(series.nanoseconds), std::back_inserter(row),
                               [](double microseconds) { return fmt::format("{:.1f}", microseconds); });
    return row;
}

void Show(Call& call, const std::vector<Series>& all) {
    std::vector<TableRow> rows = {
        {"NODE", "GUID", "READ", "BYTES", "READS", "FAILED", "MIN us", "50 %", "90 %", "99 %", "99.9 %", "MAX us"}};
    Json measurements = Json::array();
    for (const Series& series : all) {
        rows.push_back(RowOf(series));
        measurements.push_back(ToJson(series));
    }
    call.report.Answer = {{"measurements", std::move(measurements)}};
    if (call.report.BusKind == bas1394::NameOf(bas1394::BusKind::Simulated))
        call.Print("The bus is simulated: these times say nothing about hardware.");
    PrintTable(call, rows);
}

} // namespace

Quantiles QuantilesOf(std::vector<std::int64_t> nanoseconds) {
    std::ranges::sort(nanoseconds);
    Quantiles quantiles{};
    std::ranges::transform(QUANTILES, quantiles.begin(), [&](const auto& quantile) {
        const double rank = std::ceil(quantile.second * static_cast<double>(nanoseconds.size()));
        return static_cast<double>(nanoseconds[static_cast<std::size_t>(std::max(rank, 1.0)) - 1]) / 1000;
    });
    return quantiles;
}

void MeasureLatency(Call& call, const std::string& device) {
    BusSession session(call);
    if (!session.OpenBus())
        return;
    std::vector<NumberedNode> nodes;
    if (device.empty())
        std::ranges::transform(ReadableNodes(), std::back_inserter(nodes),
                               [](const Device& node) { return NumberedNode{node}; });
    else if (!ChooseNode(call, device, nodes.emplace_back().device))
        return;
    else
        NoteNode(call, nodes.front().device);
    std::vector<Series> all;
    for (const NumberedNode& node : nodes)
        if (!call.MustEnd())
            std::ranges::move(MeasureNode(call, node), std::back_inserter(all));
    Show(call, all);
    if (nodes.empty())
        call.End(Verdict::NoDevice, "There is no node but this computer that can be read.");
    for (const Series& series : all)
        if (!series.trouble.empty())
            call.End(Verdict::Failed, fmt::format("Node #{}: {}", series.node.device.NodeNum, series.trouble));
}

} // namespace cli

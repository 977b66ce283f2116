#include "Topology.h"
#include "RomImage.h"

namespace simulator {

// Self-ID packet 0 (IEEE 1394-1995, 4.3.4.1).
static std::uint32_t SelfId(std::size_t physId, std::size_t nodeCount, const TopologyNode& node) {
    constexpr std::uint32_t packet = 2u << 30, gapCount = 63u << 16, s400 = 2u << 14;
    constexpr std::uint32_t unconnected = 1, toParent = 2, toChild = 3;
    const bool isRoot = physId + 1 == nodeCount;
    const std::uint32_t up = isRoot ? unconnected : toParent;
    const std::uint32_t down = physId == 0 ? unconnected : toChild;
    return packet | static_cast<std::uint32_t>(physId) << 24 | std::uint32_t{node.linkActive} << 22 | gapCount | s400 |
           std::uint32_t{node.isHost} << 11 | up << 6 | down << 4 | unconnected << 2;
}

Bytes TopologyMap(std::uint32_t generation, const std::vector<TopologyNode>& nodes) {
    const auto count = static_cast<std::uint16_t>(nodes.size());
    Bytes quadlets; // big-endian as in the CSR, for the CRC
    Append32(quadlets, generation, ByteOrder::Big);
    Append32(quadlets, std::uint32_t{count} << 16 | count, ByteOrder::Big);
    for (std::size_t i = 0; i < nodes.size(); ++i)
        Append32(quadlets, SelfId(i, nodes.size(), nodes[i]), ByteOrder::Big);

    Bytes map(12, 0);
    const ByteSpan header(map);
    Put16(header, 0, static_cast<std::uint16_t>(quadlets.size() / 4), ByteOrder::Little);
    Put16(header, 2, Crc16(quadlets), ByteOrder::Little);
    Put32(header, 4, generation, ByteOrder::Little);
    Put16(header, 8, count, ByteOrder::Little);
    Put16(header, 10, count, ByteOrder::Little);
    map.insert(map.end(), quadlets.begin() + 8, quadlets.end());
    return map;
}

} // namespace simulator

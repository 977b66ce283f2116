#include "TopologyMap.h"

#include <algorithm>

namespace kernel_bus {

namespace {

constexpr std::size_t HEADER_SIZE = 12; // bytes
constexpr std::uint32_t EXTENDED = 1u << 23, MORE_PACKETS = 1;

std::uint32_t Quadlet(ByteView bytes, std::size_t at) {
    return std::uint32_t{bytes[at]} << 24 | std::uint32_t{bytes[at + 1]} << 16 | std::uint32_t{bytes[at + 2]} << 8 |
           bytes[at + 3];
}

void AppendQuadlet(Bytes& bytes, std::uint32_t value) {
    for (const int shift : {24, 16, 8, 0})
        bytes.push_back(static_cast<std::uint8_t>(value >> shift));
}

void AppendLittle(Bytes& bytes, std::uint32_t value, int size) {
    for (int i = 0; i < size; ++i)
        bytes.push_back(static_cast<std::uint8_t>(value >> 8 * i));
}

// IEEE 1212: x^16 + x^12 + x^5 + 1, most significant bit first.
std::uint16_t Crc16(ByteView bytes) {
    std::uint32_t crc = 0;
    for (const std::uint8_t byte : bytes) {
        crc ^= std::uint32_t{byte} << 8;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 0x8000) != 0 ? crc << 1 ^ 0x1021 : crc << 1;
    }
    return static_cast<std::uint16_t>(crc);
}

bool IsSelfId(std::uint32_t packet) {
    return packet >> 30 == 2;
}

bool BelongsTo(std::uint32_t packet, std::uint32_t first) {
    return IsSelfId(packet) && (packet & EXTENDED) != 0 && (packet ^ first) >> 24 == 0;
}

// The packets that stay, in order; those of a node follow one another.
std::vector<std::uint32_t> KeptPackets(const std::vector<std::uint32_t>& packets, std::uint32_t& nodes) {
    std::vector<std::uint32_t> kept;
    for (std::size_t i = 0; i < packets.size(); ++i) {
        if (!IsSelfId(packets[i]) || (packets[i] & EXTENDED) != 0)
            continue; // a further one of a node that already has two, or no packet at all
        const bool hasMore = i + 1 < packets.size() && BelongsTo(packets[i + 1], packets[i]);
        ++nodes;
        kept.push_back(hasMore ? packets[i] | MORE_PACKETS : packets[i] & ~MORE_PACKETS);
        if (hasMore)
            kept.push_back(packets[i + 1]);
    }
    return kept;
}

} // namespace

Bytes ConvertTopologyMap(ByteView map) {
    if (map.size() < HEADER_SIZE)
        return {};
    map = map.first(std::min<std::size_t>(map.size(), TOPOLOGY_MAP_SIZE));
    const std::size_t announced = Quadlet(map, 8) & 0xFFFF;
    const std::size_t count = std::min(announced, (map.size() - HEADER_SIZE) / 4);
    std::vector<std::uint32_t> packets;
    for (std::size_t i = 0; i < count; ++i)
        packets.push_back(Quadlet(map, HEADER_SIZE + 4 * i));

    const std::uint32_t generation = Quadlet(map, 4);
    std::uint32_t nodes = 0;
    Bytes quadlets; // as in the register, for the CRC
    AppendQuadlet(quadlets, generation);
    AppendQuadlet(quadlets, 0);
    for (const std::uint32_t packet : KeptPackets(packets, nodes))
        AppendQuadlet(quadlets, packet);
    if (nodes == 0)
        return {};
    quadlets[5] = quadlets[7] = static_cast<std::uint8_t>(nodes); // at most 252 packets fit

    Bytes result;
    AppendLittle(result, static_cast<std::uint32_t>(quadlets.size() / 4), 2);
    AppendLittle(result, Crc16(quadlets), 2);
    AppendLittle(result, generation, 4);
    AppendLittle(result, nodes, 2);
    AppendLittle(result, nodes, 2);
    result.insert(result.end(), quadlets.begin() + 8, quadlets.end());
    return result;
}

} // namespace kernel_bus

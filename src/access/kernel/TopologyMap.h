// The kernel's topology map in the form that Twl1394api.h wants.
#pragma once

#include "Events.h"

namespace kernel_bus {

inline constexpr std::uint64_t TOPOLOGY_MAP = 0xFFFFF0001000; // IEEE 1394-1995, 8.3.2.4
inline constexpr std::uint32_t TOPOLOGY_MAP_SIZE = 1024;

// `map` has big-endian quadlets, as in the register: length and CRC, generation, node count and number of self-ID
// packets, the packets. In the result the header has little-endian integers, and the packets of a node are packet 0
// and, if there is one, a single further one; the self-ID count is the number of nodes. Empty if `map` isn't a
// topology map.
Bytes ConvertTopologyMap(ByteView map);

} // namespace kernel_bus

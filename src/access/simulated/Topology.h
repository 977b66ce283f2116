// The topology map as the library returns it, with its self-ID packets.
#pragma once

#include "WireBytes.h"

namespace simulator {

struct TopologyNode {
    bool linkActive = true;
    bool isHost = false;
};

// `nodes` in node-number order: a chain of S400 nodes with three ports each.
Bytes TopologyMap(std::uint32_t generation, const std::vector<TopologyNode>& nodes);

} // namespace simulator

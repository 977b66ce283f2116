// The topology map as the library hands it out, and the self-ID packets in it.
#pragma once

#include "WireBytes.h"

namespace simulator {

struct TopologyNode {
    bool linkActive = true;
    bool isHost = false;
};

// nodes in node-number order: a chain of S400 nodes with three ports each.
Bytes TopologyMap(std::uint32_t generation, const std::vector<TopologyNode>& nodes);

} // namespace simulator

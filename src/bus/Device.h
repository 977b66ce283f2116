// The node table's record.
#pragma once

#include "ConfigRomRecord.h"

#include <cstdint>
#include <string>

// A self-ID packet (IEEE 1394-1995, 4.3.4.1), each field shifted down to bit 0.
struct SelfId {
    std::uint8_t PhysId = 0;
    std::uint8_t PacketId = 0;
    std::uint8_t GapCount = 0;
    std::uint8_t LinkActive = 0;
    bool Zero = false;
    std::uint8_t PowerClass = 0;
    std::uint8_t Contender = 0;
    std::uint8_t Delay = 0;
    std::uint8_t Speed = 0;
    std::uint8_t MorePackets = 0;
    std::uint8_t InitiatedReset = 0;
    std::uint8_t Port3 = 0, Port2 = 0, Port1 = 0;
};

inline constexpr std::int16_t NO_NODE = 128;
inline constexpr std::int16_t BROADCAST_NODE = 63; // IEEE 1394-1995, 3.3
inline constexpr std::int16_t LAST_NODE = 62;

struct Device {
    std::string Driver;     // "vdev" for a node found; empty in NullDevice
    std::string DeviceName; // name of virtual device 0
    std::int16_t NodeNum = NO_NODE;
    ::SelfId SelfId;
    ConfigRomRecord ConfigRom;
};

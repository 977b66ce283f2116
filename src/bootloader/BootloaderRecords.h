// Records of the bootloader protocol.
#pragma once

#include "Bytes.h"
#include "Device.h"
#include "ShellStore.h"

#include <array>
#include <cstdint>

// The 104-byte identity block of a target, at 0xffffc8020000, in this order.
struct BootloaderInfoRegisters {
    std::array<std::uint8_t, 8> MakerID{}; // ASCII
    std::int32_t ProtocolVersion = 0;
    std::int32_t BootloaderVersion = 0; // 0: the node offers no bootloader now
    std::array<std::uint8_t, 8> GUID{}; // most significant byte first
    std::int32_t HardwareModelID = 0;
    std::int32_t HardwareVersion = 0;
    std::array<std::uint8_t, 8> ApplicationDate{}; // date and time fields as in a package
    std::array<std::uint8_t, 8> ApplicationTime{};
    std::int32_t ApplicationID = 0;
    std::int32_t ApplicationVersion = 0; // 0xFFFFFF: private build
    std::int32_t Reserved1 = 0;
    std::int32_t Reserved2 = 0;
    std::array<std::uint8_t, 8> BootloaderDate{};
    std::array<std::uint8_t, 8> BootloaderTime{};
    std::array<std::uint8_t, 8> DebuggerDate{};
    std::array<std::uint8_t, 8> DebuggerTime{};
    std::int32_t DebuggerID = 0;
    std::int32_t DebuggerVersion = 0;
};

struct BootloaderRequest {
    std::int32_t ProtocolVersion = 0; // filled by SendRequest
    std::int16_t CommandID = 0;       // filled by SendRequest
    std::int32_t CommandCode = 0;
    std::uint8_t NumQuadlets = 0; // announced; the whole of Operands goes out all the same
    ByteArray Operands;
};

struct BootloaderResponse {
    std::int32_t ProtocolVersion = 0;
    std::int16_t CommandID = 0;
    std::int32_t CommandCode = 0;
    std::uint8_t NumQuadlets = 0;
    ByteArray Operands; // NumQuadlets x 4 bytes; as it was when that is 0
};

// A node whose registers a target's are. Several with one GUID share a BootloaderTarget.
struct CompatibleNode {
    std::int16_t NodeNum;
    std::array<std::uint8_t, 8> GUID;
};

// One target met since start; kept for the life of the program.
struct BootloaderTarget {
    std::int32_t Handle = 0;            // 0 in an empty first record, -101 until the first open
    ::Device Device;                    // copy of the node's record; NodeNum 128: not on the bus now
    ByteArray DebugGUID = ByteArray(8); // as last read from the target
    BootloaderInfoRegisters Info;       // as read at the last discovery
    ShellStore Shell;                   // what its console has printed
    std::int32_t State = 0;             // 2 for every created target
};

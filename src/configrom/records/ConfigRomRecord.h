// A node's configuration ROM (IEEE 1212) as read: the raw bytes of every block and their decoded values. Each array
// starts with one zeroed element, so an empty one has that element.
#pragma once

#include "Bytes.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

struct ConfigRomEntry {
    std::int32_t Address = 0;  // of the entry itself, lower 32 bits
    std::int32_t KeyType = 0;  // 0 immediate, 1 CSR offset, 2 leaf, 3 directory
    std::int32_t KeyValue = 0; // 6 bits
    std::int32_t Data = 0;     // 24 bits
    std::int32_t Index = 0;    // types 1, 2, 3: into Offsets, Leaves, or the record's Directories
};

struct ConfigRomLeaf {
    ByteArray RawData = ByteArray(1); // header quadlet and data
    std::int32_t Address = 0;         // of the header quadlet; 0 in the zeroed element
    std::int32_t Length = 0;          // quadlets
    std::int32_t Crc = 0;             // stored, never checked
    std::int32_t DirectoryIndex = 0;
    std::int32_t PrecedingKey = 0; // key of the immediate entry that this leaf describes
    std::uint8_t DescriptorType = 0;
    std::int32_t SpecifierID = 0;
    std::uint8_t width = 0;
    std::int16_t CharacterSet = 0;
    std::int16_t Language = 0;
    std::string Text; // UTF-8
};

struct ConfigRomOffset {
    std::int32_t Address = 0; // CSR address, lower 32 bits
    std::int32_t PrecedingKey = 0;
    std::int32_t Value = 0; // the quadlet there, 0 if it couldn't be read
};

struct ConfigRomDirectory {
    ByteArray RawData = ByteArray(1);
    std::int32_t Address = 0;
    std::int32_t Length = 0; // entries
    std::int32_t Crc = 0;
    std::int32_t PrecedingKey = 0;
    std::vector<ConfigRomEntry> Entries = std::vector<ConfigRomEntry>(1);
    std::vector<ConfigRomLeaf> Leaves = std::vector<ConfigRomLeaf>(1);
    std::vector<ConfigRomOffset> Offsets = std::vector<ConfigRomOffset>(1);
    std::int32_t Parent = 0;
    std::vector<std::int32_t> Children = std::vector<std::int32_t>(1);
};

// Bits of root key 0x0C (ISO/IEC 13213), in order of the flags below.
struct NodeCapabilityFlags {
    bool SplitTimeout = false, MessagePassing = false, InterruptRegisters = false, ArgumentRegisters = false,
         TestRegisters = false, PrivateSpace = false, BitAddressing64 = false, FixedAddressing = false, LostBit = false,
         DisableRequest = false, ErrorLogRegister = false, AttentionBit = false, OffBit = false, DeadState = false,
         InitializingState = false;
};

struct ConfigRomRecord {
    std::int32_t Address = 0; // base address, lower 32 bits: 0xF0000400 once prepared
    std::int32_t info_len = 0;
    std::int32_t crc_len = 0;
    std::int32_t crc = 0;
    ByteArray RawData = ByteArray(1); // header and bus info block
    bool IRMC = false, CMC = false, ISC = false, BMC = false, PMC = false, ADJ = false;
    std::uint8_t CycClkAcc = 0;
    std::uint8_t MaxRec = 0;
    std::uint8_t MaxRom = 0;
    std::uint8_t Generation = 0;
    std::uint8_t LinkSpd = 0;
    std::int32_t NodeVendorID = 0; // of the bus info block
    std::uint8_t ChipIDHi = 0;
    std::int32_t ChipIdLow = 0;
    std::array<std::uint8_t, 8> GUID{};
    std::int32_t ModelId = 0;                                                         // root key 0x17
    std::int32_t ModuleVendorId = 0;                                                  // 0x03
    std::int32_t ModuleHwVersion = 0;                                                 // 0x04
    std::int32_t ModuleSpecId = 0;                                                    // 0x05
    std::int32_t ModuleSwVersion = 0;                                                 // 0x06
    NodeCapabilityFlags NodeCapabilities;                                             // 0x0C
    std::int32_t NodeVendorId = 0;                                                    // 0x08, not NodeVendorID
    std::int32_t NodeHwVersion = 0;                                                   // 0x09
    std::int32_t NodeSpecId = 0;                                                      // 0x0A
    std::int32_t NodeSwVersion = 0;                                                   // 0x0B
    std::vector<ConfigRomDirectory> Directories = std::vector<ConfigRomDirectory>(1); // 0 is the root
};

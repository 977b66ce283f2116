// basConfigRom's procedures for the nodes of the bus. NodeIndex is the index in bas1394's DeviceTable.
#pragma once

#include "Device.h"
#include "RomFile.h"
#include "basConfigRom.h"

namespace basConfigRom {

// Each reads as its namesake in basConfigRom.h does, quadlet by quadlet with a turn of the window system after each.
// An index outside of the table is a failure.
[[nodiscard]] std::int32_t GetFormattedConfigRom(std::int32_t nodeIndex, ConfigRomRecord& rom,
                                                 const std::string& logTrail = {});
[[nodiscard]] std::int32_t GetFormattedConfigRomBusInfoBlock(std::int32_t nodeIndex, ConfigRomRecord& rom,
                                                             const std::string& logTrail = {});
[[nodiscard]] std::int32_t GetConfigRomDirectory(std::int32_t nodeIndex, std::int32_t directoryAddress,
                                                 std::int32_t directoryIndex, ConfigRomRecord& rom,
                                                 const std::string& logTrail = {});
[[nodiscard]] std::int32_t GetConfigRomEntry(std::int32_t nodeIndex, std::int32_t address, std::uint32_t lengthMask,
                                             ByteArray& data, const std::string& logTrail = {});
void GetConfigRomLeaf(const std::string& logTrail, std::int32_t nodeIndex, std::int32_t leafAddress,
                      const ConfigRomEntry& entry, ConfigRomLeaf& leaf);

// The hardware versions of all directories, as text. Empty while the bus isn't enumerated.
std::string GetHardwareVersion(const ConfigRomRecord& rom);

// The image of a node's ROM. The quadlets between the blocks of its record are read now, as far as they lie in the 1
// KiB that is reserved for a ROM and the node answers.
RomImage ImageOf(const Device& node);

} // namespace basConfigRom

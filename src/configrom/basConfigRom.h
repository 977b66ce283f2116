// Reads a node's config ROM (IEEE 1212) quadlet by quadlet into a ConfigRomRecord, and answers
// questions from the record.
#pragma once

#include "ConfigRomRecord.h"
#include "basApp.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace basConfigRom {

inline constexpr std::uint32_t ROM_BASE = 0xF0000400; // lower 32 bits; the upper 16 are 0xFFFF

inline constexpr std::int32_t NO_ROOT_DIRECTORY = -20; // all but the root directory was read

// What bounds a reading of one ROM, however its directories refer to each other: nothing beyond
// these. A ROM of 1 KiB holds at most 255 headers.
inline constexpr std::size_t MAX_DIRECTORIES = 256;
inline constexpr std::int32_t MAX_LEAVES = 1024;
inline constexpr std::int32_t MAX_QUADLETS = 16384; // read in all; a read that fails counts for many

// Module wrapper; `indent` goes in front of the message. Dropped while frmMain doesn't exist;
// WARNING is dropped while a load runs.
bool StatusDisplayWanted(std::int32_t level);
template <class... Arguments>
void StatusDisplay(std::string_view indent, std::int32_t level, fmt::format_string<Arguments...> text,
                   Arguments&&... arguments) {
    if (StatusDisplayWanted(level) && basDebug::Wanted(level))
        basDebug::StatusDisplay(std::string(indent) + fmt::format(text, std::forward<Arguments>(arguments)...), level,
                                "basConfigRom");
}

// --- Reading. NodeIndex is the index in bas1394's DeviceTable. ---

// 1 the whole tree was read; NO_ROOT_DIRECTORY; -1 anything else.
std::int32_t GetFormattedConfigRom(std::int32_t nodeIndex, ConfigRomRecord& rom, const std::string& logTrail = {});
std::int32_t GetFormattedConfigRomBusInfoBlock(std::int32_t nodeIndex, ConfigRomRecord& rom,
                                               const std::string& logTrail = {}); // 1 or -1
std::int32_t GetConfigRomDirectory(std::int32_t nodeIndex, std::int32_t directoryAddress, std::int32_t directoryIndex,
                                   ConfigRomRecord& rom, const std::string& logTrail = {}); // 1 or -1
// One length-prefixed block; `lengthMask` picks the length out of its first quadlet. 1, -1, -21
// for a header of 0, or the code of the read that failed.
std::int32_t GetConfigRomEntry(std::int32_t nodeIndex, std::int32_t address, std::uint32_t lengthMask, ByteArray& data,
                               const std::string& logTrail = {});
void GetConfigRomLeaf(const std::string& logTrail, std::int32_t nodeIndex, std::int32_t leafAddress,
                      const ConfigRomEntry& entry, ConfigRomLeaf& leaf);
std::int32_t AddConfigRomDirectory(ConfigRomRecord& rom, std::int32_t parentIndex); // 1
std::int32_t StoreRootKeyValue(const ConfigRomEntry& entry, ConfigRomRecord& rom);  // 1
// True for a directory of which nothing was walked: its one element is the zeroed one.
bool HoldsNoEntry(const ConfigRomDirectory& directory);
// Whether every directory and leaf that the tree refers to was read, to its end.
bool IsWhole(const ConfigRomRecord& rom);

// --- Questions. Text for people: never an error, a readable text instead. ---

bool ConfigRomIsMinimal(const ConfigRomRecord& rom);
std::string GetConfigRomKeyText(std::int32_t directoryType, std::int32_t keyValue, const ConfigRomRecord& rom);
std::string GetConfigRomModelText(const ConfigRomRecord& rom);
std::string GetConfigRomVendorText(const ConfigRomRecord& rom);
std::string GetConfigRomGuidText(const ConfigRomRecord& rom); // "001234AB 00000005"
std::string GetHardwareVersion(const ConfigRomRecord& rom);

} // namespace basConfigRom

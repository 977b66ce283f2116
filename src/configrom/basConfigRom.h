// Reads a config ROM (IEEE 1212) into a ConfigRomRecord, and answers questions from the record. This folder knows no
// bus: nodes/NodeConfigRom.h reads the ROMs of its nodes, RomFile.h those of files.
#pragma once

#include "ConfigRomRecord.h"
#include "Failure.h"
#include "QuadletSource.h"
#include "basApp.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace basConfigRom {

inline constexpr std::uint32_t ROM_BASE = 0xF0000400; // lower 32 bits; the upper 16 are 0xFFFF

inline constexpr std::int32_t NO_ROOT_DIRECTORY = -20; // the bus info block was read, the root directory wasn't

// The bounds of reading one ROM, however its directories refer to each other. A ROM of 1 KiB holds at most 255 headers.
inline constexpr std::size_t MAX_DIRECTORIES = 256;
inline constexpr std::int32_t MAX_LEAVES = 1024;
inline constexpr std::int32_t MAX_QUADLETS = 16384; // in all; a read that fails counts as many

// `indent` goes in front of the message. Dropped while frmMain doesn't exist; WARNING is dropped while a load runs.
bool StatusDisplayWanted(std::int32_t level);
template <class... Arguments>
void StatusDisplay(std::string_view indent, std::int32_t level, fmt::format_string<Arguments...> text,
                   Arguments&&... arguments) {
    if (StatusDisplayWanted(level) && basDebug::Wanted(level))
        basDebug::StatusDisplay(std::string(indent) + fmt::format(text, std::forward<Arguments>(arguments)...), level,
                                "basConfigRom");
}

// Logs a failure in `procedure`, which is named as the message shows it.
inline auto LogFailure(const char* procedure, std::string indent = {}) {
    return [procedure, indent = std::move(indent)](const platform::Failure& f) {
        StatusDisplay(indent, LEVEL_ERROR, "Error #{}: {} in {}", f.Number, f.Description, procedure);
    };
}

// --- Reading. Each procedure adds one "|" to `logTrail`, the indent of its messages. ---

// 1 the whole tree was read; NO_ROOT_DIRECTORY; -1 any other failure, and a minimal ROM.
[[nodiscard]] std::int32_t GetFormattedConfigRom(QuadletSource& source, ConfigRomRecord& rom,
                                                 const std::string& logTrail = {});
// 1 or -1.
[[nodiscard]] std::int32_t GetFormattedConfigRomBusInfoBlock(QuadletSource& source, ConfigRomRecord& rom,
                                                             const std::string& logTrail = {});
// 1 or -1. Reads it, with everything below it, into an element of rom.Directories.
[[nodiscard]] std::int32_t GetConfigRomDirectory(QuadletSource& source, std::int32_t directoryAddress,
                                                 std::int32_t directoryIndex, ConfigRomRecord& rom,
                                                 const std::string& logTrail = {});
// One length-prefixed block; `lengthMask` picks the length out of its first quadlet. 1, -1, -21
// for a header of 0, or the code of the read that failed.
[[nodiscard]] std::int32_t GetConfigRomEntry(QuadletSource& source, std::int32_t address, std::uint32_t lengthMask,
                                             ByteArray& data, const std::string& logTrail = {});
void GetConfigRomLeaf(const std::string& logTrail, QuadletSource& source, std::int32_t leafAddress,
                      const ConfigRomEntry& entry, ConfigRomLeaf& leaf);
std::int32_t AddConfigRomDirectory(ConfigRomRecord& rom, std::int32_t parentIndex); // 1
std::int32_t StoreRootKeyValue(const ConfigRomEntry& entry, ConfigRomRecord& rom);  // 1
// True for a directory without walked entries: its one element is the zeroed one.
bool HoldsNoEntry(const ConfigRomDirectory& directory);
// Whether every directory and leaf that the tree refers to was read completely.
[[nodiscard]] bool IsWhole(const ConfigRomRecord& rom);

// --- Questions. The answers are for people: in place of an error, a readable text. ---

bool ConfigRomIsMinimal(const ConfigRomRecord& rom);
std::string GetConfigRomKeyText(std::int32_t directoryType, std::int32_t keyValue, const ConfigRomRecord& rom);
std::string GetConfigRomModelText(const ConfigRomRecord& rom);
std::string GetConfigRomVendorText(const ConfigRomRecord& rom);
std::string GetConfigRomGuidText(const ConfigRomRecord& rom); // "001234AB 00000005"
std::string HardwareVersionText(const ConfigRomRecord& rom);  // of all directories, or "<not found>"

} // namespace basConfigRom

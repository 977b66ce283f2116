// A config ROM as the rows of a tree for a human reader: a row for each known quadlet, with its address, its raw
// value and its meaning. Reads the record only.
#pragma once

#include "ConfigRomRecord.h"

#include <cstdint>
#include <string>
#include <vector>

namespace basConfigRom {

struct RomRow {
    std::string Key; // unique in the tree, or empty
    int Parent = -1; // index of the parent's row; -1 at the top
    std::string Text;
    bool Expanded = false; // it has children, or may have
};

// Rows in the order of insertion, which is the order of saving and copying.
struct RomTree {
    std::vector<RomRow> Rows;

    // The new row's index.
    int Add(int parent, std::string key, std::string text, bool expanded = false);
};

// Empties the tree and renders the whole ROM. 1, or -1 with the rows that could be made.
[[nodiscard]] std::int32_t FormatConfigRomApple(RomTree& tree, const ConfigRomRecord& rom);
[[nodiscard]] std::int32_t FormatConfigRomBusInfoBlockApple(RomTree& tree, const ConfigRomRecord& rom);
[[nodiscard]] std::int32_t FormatConfigRomDirectoryApple(RomTree& tree, int parent, const ConfigRomRecord& rom,
                                                         std::int32_t directoryIndex);
std::int32_t FormatConfigRomLeafApple(RomTree& tree, int parent, std::int32_t leafNumber, std::int32_t keyValue,
                                      const ConfigRomLeaf& leaf);

// The text of all rows, each followed by CR LF.
std::string RomText(const RomTree& tree);

} // namespace basConfigRom

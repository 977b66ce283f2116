// One node whose ROM a test defines quadlet by quadlet. A block starts with its length << 16 | CRC; an entry is key
// type (0 immediate, 1 offset, 2 leaf, 3 directory) << 30 | key << 24 | value, where a leaf or directory is `value`
// quadlets after its entry.
#pragma once

#include "NodeConfigRom.h"
#include "ScriptedLibrary.h"

namespace testing_support {

using Words = std::vector<std::uint32_t>;

class RomTest : public LibraryTest {
protected:
    RomTest() { basApp::globals.DebugLoggingLevel = 5; }
    // Gives node 5, record 0, this ROM and reads it.
    std::int32_t Read(const Words& quadlets) {
        library.roms[5] = Quadlets(quadlets);
        library.transactions.clear();
        log.clear();
        rom = {};
        return basConfigRom::GetFormattedConfigRom(0, rom);
    }
    // The same after a bus info block with the GUID 000F1BAB 00000005; `tree` begins with the root directory, at
    // 0xF0000414.
    std::int32_t ReadTree(Words tree) {
        const Words busInfo = {0x04041234, 0x31333934, 0, 0x000F1BAB, 5};
        tree.insert(tree.begin(), busInfo.begin(), busInfo.end());
        return Read(tree);
    }
    const ConfigRomDirectory& root() const { return rom.Directories[0]; }
    ConfigRomRecord rom;
};

} // namespace testing_support

// One node whose ROM a test lays down quadlet by quadlet.
#pragma once

#include "ScriptedLibrary.h"
#include "basConfigRom.h"

namespace testing_support {

using Words = std::vector<std::uint32_t>;
using Texts = std::vector<std::string>;

// Header, "1394", capabilities, GUID 000F1B AB 00000005; the root directory follows at 0xF0000414.
inline const Words BUS_INFO = {0x04041234, 0x31333934, 0x00000000, 0x000F1BAB, 0x00000005};

class RomTest : public LibraryTest {
protected:
    // Node 5, record 0, gets this ROM, and it is read. The same result as GetFormattedConfigRom.
    std::int32_t Read(const Words& quadlets) {
        library.roms[5] = Quadlets(quadlets);
        log.clear();
        library.transactions.clear();
        rom = {};
        return basConfigRom::GetFormattedConfigRom(0, rom);
    }
    // The quadlets of a tree behind the bus info block.
    std::int32_t ReadTree(const Words& tree) {
        Words quadlets = BUS_INFO;
        quadlets.insert(quadlets.end(), tree.begin(), tree.end());
        return Read(quadlets);
    }
    const ConfigRomDirectory& root() const { return rom.Directories[0]; }
    ConfigRomRecord rom;
};

} // namespace testing_support

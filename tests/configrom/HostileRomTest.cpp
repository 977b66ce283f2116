// ROMs that mean harm, or nothing at all. Reading one ends, within its bounds, with a tree whose
// every index leads somewhere.
#include "RomTest.h"

#include <random>

using namespace testing_support;

namespace {

class HostileRom : public RomTest {
protected:
    HostileRom() { basApp::globals.DebugLoggingLevel = 7; }
    void ExpectSound() const {
        std::size_t leaves = 0;
        for (const ConfigRomDirectory& directory : rom.Directories) {
            ASSERT_FALSE(directory.Entries.empty());
            leaves += directory.Leaves.size();
            const std::size_t ends[] = {1, directory.Offsets.size(), directory.Leaves.size(), rom.Directories.size()};
            for (const ConfigRomEntry& entry : directory.Entries)
                ASSERT_LT(static_cast<std::size_t>(entry.Index), ends[entry.KeyType]);
            for (const std::int32_t child : directory.Children)
                ASSERT_LT(static_cast<std::size_t>(child), rom.Directories.size());
        }
        EXPECT_LE(rom.Directories.size(), 256u);
        EXPECT_LE(leaves, 1024u + 256u);
        EXPECT_LE(library.transactions.size(), 16384u + 513u);
        EXPECT_LE(CountLogged("is cut off at address"), 1u);
        for (const std::string& text :
             {basConfigRom::GetConfigRomModelText(rom), basConfigRom::GetConfigRomVendorText(rom),
              basConfigRom::GetHardwareVersion(rom)})
            EXPECT_FALSE(text.empty() && bas1394::globals.BusEnumerated);
    }
};

TEST_F(HostileRom, IsCutOffWhereADirectoryComesASecondTime) {
    // Each of these directories refers twice to the next: 2 to the 80th, unfolded.
    Words ladder;
    for (int rung = 0; rung < 80; ++rung)
        ladder.insert(ladder.end(), {0x00020000, 0xD1000002, 0xD1000001});
    ladder.insert(ladder.end(), {0x00010000, 0x03000001});
    Words chain;
    for (int link = 0; link < 400; ++link) // deeper than anything is followed
        chain.insert(chain.end(), {0x00010000, 0xD1000001});
    const struct {
        const char* name;
        Words tree;
        std::size_t directories, transactions;
        const char* cutOff;
    } rows[] = {
        {"one directory under two entries",
         {0x00020000, 0xD1000002, 0xD2000001, 0x00010000, 0x03000001},
         3,
         5 + 3 + 2,
         "F0000420: a directory is referred to twice."},
        {"a ladder", ladder, 161, 5 + 80 * 3 + 2, "F00007D4: a directory is referred to twice."},
        {"a chain", chain, 256, 5 + 256 * 2, "F0000C10: it is too large."},
        {"an entry that leads to itself", {0x00010000, 0xD1000000}, 2, 5 + 2 + 1, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(ReadTree(row.tree), 1);
        ExpectSound();
        EXPECT_EQ(rom.Directories.size(), row.directories);
        EXPECT_EQ(library.transactions.size(), row.transactions);
        EXPECT_EQ(CountLogged(fmt::format("is cut off at address 0xFFFF{}", row.cutOff)), *row.cutOff ? 1u : 0u);
    }
}

TEST_F(HostileRom, LeavesACutOffDirectoryLikeOneThatCouldNotBeRead) {
    ReadTree({0x00020000, 0xD1000002, 0xD2000001, 0x00010000, 0x03000001});
    EXPECT_EQ(rom.Directories[1].Entries[0].KeyValue, 3);
    EXPECT_EQ(rom.Directories[2].RawData.size(), 1u);
    EXPECT_EQ(rom.Directories[2].Entries.size(), 1u);
    EXPECT_EQ(rom.Directories[2].Entries[0].KeyValue, 0);
}

TEST_F(HostileRom, ThatAnswersNothingIsGivenUp) {
    Words tree(1, 0x02000000);
    for (std::uint32_t i = 1; i <= 512; ++i)
        tree.push_back((i % 3 + 1) << 30 | 0x00F00000 | i); // offsets, leaves and directories far away
    EXPECT_EQ(ReadTree(tree), 1);
    ExpectSound();
    EXPECT_LE(library.transactions.size(), 5u + 513u + 64u);
    EXPECT_TRUE(Logged(fmt::format("7 ||GetConfigRomDirectory: the config rom of node index 0 is cut off at address "
                                   "0xFFFF{:X}: it is too large.",
                                   static_cast<std::uint32_t>(root().Entries.back().Address) + 4)));
    EXPECT_LT(root().Entries.size(), 512u);
}

TEST_F(HostileRom, OfRandomQuadletsIsReadToAnEnd) {
    bas1394::globals.BusEnumerated = true;
    for (std::uint32_t seed = 0; seed < 400; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        Words tree(random() % 250 + 1);
        for (std::uint32_t& quadlet : tree) // headers of all lengths, entries of all types, some noise
            quadlet = random() % 3 == 0   ? (random() % 24) << 16
                      : random() % 8 == 0 ? static_cast<std::uint32_t>(random())
                                          : random() % 4 << 30 | random() % 32 << 24 | random() % 64;
        tree[0] |= 0x00100000;
        ReadTree(tree);
        ExpectSound();
    }
}

} // namespace

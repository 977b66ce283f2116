// Malicious and meaningless ROMs. Reading one stays within the bounds and results in a tree whose indexes are all
// valid.
#include "ConfigRomText.h"
#include "RomChecks.h"
#include "RomFile.h"
#include "RomTest.h"

#include <random>
#include <set>
#include <tuple>

using namespace testing_support;

namespace {

class HostileRom : public RomTest {
protected:
    HostileRom() { bas1394::globals.BusEnumerated = true; }
    static basConfigRom::RomTree Rows(const ConfigRomRecord& record) {
        basConfigRom::RomTree tree;
        std::ignore = basConfigRom::FormatConfigRomApple(tree, record);
        return tree;
    }
    void ExpectSound() const {
        for (const ConfigRomDirectory& directory : rom.Directories) {
            const std::size_t ends[] = {1, directory.Offsets.size(), directory.Leaves.size(), rom.Directories.size()};
            ASSERT_FALSE(directory.Entries.empty());
            for (const ConfigRomEntry& entry : directory.Entries)
                ASSERT_LT(static_cast<std::size_t>(entry.Index), ends[entry.KeyType]);
        }
        EXPECT_LE(rom.Directories.size(), 256u);
        EXPECT_LE(library.transactions.size(), 16384u + 513u);
        EXPECT_LE(CountLogged("is cut off at address"), 1u);
        // Each directory once, at most one row for each quadlet and capability, and five for a leaf.
        const basConfigRom::RomTree tree = Rows(rom);
        EXPECT_LE(tree.Rows.size(), 16384u * 5 + 512u * 15);
        EXPECT_NE(basConfigRom::GetConfigRomModelText(rom) + basConfigRom::GetHardwareVersion(rom), "");
        ExpectChecksToAgreeWith(tree);
    }
    // CRCs are checked for exactly those blocks that have rows, and no quadlet with a row counts as unreferred.
    void ExpectChecksToAgreeWith(const basConfigRom::RomTree& tree) const {
        std::set<std::string> blocks, judged, addresses;
        for (const basConfigRom::RomRow& row : tree.Rows) {
            addresses.insert(row.Text.substr(0, 10));
            if (row.Text.find(" header, length=") != std::string::npos)
                blocks.insert(row.Text.substr(0, 10));
        }
        const auto findings = basConfigRom::CheckConfigRom(rom);
        for (const basConfigRom::RomFinding& finding : findings) {
            const std::string address = fmt::format("0x{:08X}", finding.Address), code = finding.Code;
            if (code.starts_with("crc-") && finding.Address != basConfigRom::ROM_BASE)
                judged.insert(address);
            EXPECT_TRUE(code != "unreferred" || !addresses.contains(address)) << address;
        }
        EXPECT_EQ(judged, blocks);
        EXPECT_LE(findings.size(), 2u * 16384u);
    }
};

TEST_F(HostileRom, ThatUnfoldsEndlesslyIsCutOff) {
    Words ladder, chain;
    for (int rung = 0; rung < 80; ++rung) // each refers twice to the next: 2^80 directories, unfolded
        ladder.insert(ladder.end(), {0x00020000, 0xD1000002, 0xD1000001});
    ladder.insert(ladder.end(), {0x00010000, 0x03000001});
    for (int link = 0; link < 400; ++link) // deeper than the reader follows
        chain.insert(chain.end(), {0x00010000, 0xD1000001});
    for (const Words& tree : {ladder, chain}) {
        EXPECT_EQ(ReadTree(tree), 1);
        ExpectSound();
        EXPECT_EQ(rom.Directories.size(), 256u);
        EXPECT_TRUE(Logged("it is too large."));
    }
    const ConfigRomDirectory& last = rom.Directories.back(); // without a walked entry
    EXPECT_EQ(last.Entries.size(), 1u);
    EXPECT_EQ(last.Entries[0].Address, 0);
    EXPECT_EQ(Rows(rom).Rows.back().Key, "DIRECTORY_HEADER_255"); // nor an entry's row
}

TEST_F(HostileRom, IsWholeWhenTwoEntriesShareADirectory) {
    EXPECT_EQ(ReadTree({0x00020000, 0xD1000002, 0xD2000001, 0x00010000, 0x03000001}), 1);
    ExpectSound();
    ASSERT_EQ(rom.Directories.size(), 3u);
    for (const std::size_t index : {1, 2})
        EXPECT_EQ(rom.Directories[index].Entries.at(0).Data, 1);
    EXPECT_FALSE(Logged("is cut off"));
}

TEST_F(HostileRom, ThatAnswersNothingIsAbandoned) {
    Words tree(1, 0x02000000);
    for (std::uint32_t i = 1; i <= 512; ++i)
        tree.push_back((i % 3 + 1) << 30 | 0x00F00000 | i); // offsets, leaves and directories far away
    EXPECT_EQ(ReadTree(tree), 1);
    ExpectSound();
    EXPECT_LE(library.transactions.size(), 5u + 513u + 64u); // each could be a time-out
    EXPECT_TRUE(Logged("it is too large."));
    EXPECT_LT(root().Entries.size(), 100u);
}

TEST_F(HostileRom, OfRandomQuadletsIsReadFromNodeAndImageAlike) {
    for (std::uint32_t seed = 0; seed < 400; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        Words tree(random() % 250 + 1);
        for (std::uint32_t& quadlet : tree) // headers of all lengths, entries of all types, some noise
            quadlet = random() % 3 == 0   ? random() % 24 << 16
                      : random() % 8 == 0 ? static_cast<std::uint32_t>(random())
                                          : random() % 4 << 30 | random() % 32 << 24 | random() % 64;
        tree[0] |= 0x00100000;
        const std::int32_t result = ReadTree(tree);
        ExpectSound();
        ConfigRomRecord fromImage; // read without a bus
        EXPECT_EQ(basConfigRom::ReadRomImage(library.roms[5], fromImage), result);
        EXPECT_EQ(RomText(Rows(fromImage)), RomText(Rows(rom)));
    }
}

} // namespace

// The bus info block, the tree, and the result of each kind of ROM.
#include "RomTest.h"

#include <algorithm>

using namespace testing_support;

namespace {

using ConfigRomReader = RomTest;
using Numbers = std::vector<std::int32_t>;

TEST_F(ConfigRomReader, ReturnsTheResultAndLogsTheMessagesOfEachKindOfRom) {
    const Words busInfo = {0x04000000, 0, 0, 0, 0};
    const auto withRoot = [&](std::uint32_t entries) {
        Words quadlets = busInfo;
        quadlets.push_back(entries << 16);
        quadlets.resize(6 + entries, 0x03000001);
        return quadlets;
    };
    const std::string at = ", node 5, address 0xFFFFF0000400", refused = "code -2147483625(0x80000017)",
                      block = "GetFormattedConfigRomBusInfoBlock ", atRoot = " node 0, address 0xFFFFFFFFF0000414.",
                      noBlock = "5 |GetFormattedConfigRom: failed to read BusInfoBlock (nodeindex #0) in "
                                "bas1394.GetFomattedConfigRom.";
    const auto entryFailed = [&](int code) {
        return fmt::format("5 ||{}failed: call to GetConfigRomEntry (node index #0) failed, code {}\n", block, code) +
               noBlock;
    };
    const struct {
        Words quadlets;
        std::int32_t result;
        std::size_t transactions, rawBytes;
        std::string log = {};
    } rows[] = {
        {withRoot(512), 1, 5 + 513, 20},
        {withRoot(513), -20, 6, 20,
         "7 |||Invalid length (513) indicated in header of config rom entry, node 5, address 0xFFFFF0000414!\n"
         "7 ||GetConfigRomDirectory: failed call to GetConfigRomEntry, code -1(0xFFFFFFFF)," +
             atRoot},
        {withRoot(256), 1, 5 + 257, 20}, // the header looks like a minimal ROM, but not at the base
        {busInfo, -20, 6, 20,
         "5 |||Could not read config rom data at address 0xFFFFF0000414 node 5, " + refused +
             "!\n7 ||GetConfigRomDirectory: failed call to GetConfigRomEntry, " + refused + "," + atRoot},
        {{0x05000000, 0, 0, 0, 0, 0, 0x00010000, 0x03000F1B}, 1, 8, 24},
        {{0}, -1, 1, 1, "5 |||Null header quadlet at the base of the config rom entry" + at + ".\n" + entryFailed(-21)},
        {{0x00040000}, -1, 1, 1, "7 |||0 length of config rom entry header" + at + "!\n" + entryFailed(-1)},
        {{0x01000A27}, -1, 1, 5, "5 ||Minimal config rom on Node index #0"},
        {{0x02000000, 0, 0},
         -1,
         3,
         12,
         "7 ||" + block + "warning: only 12 bytes of data returned from call to get bus info block in bas1394." +
             block.substr(0, block.size() - 1) + " (node index #0.  EXITING ABNORMALLY.\n" + noBlock},
        {{0x04000000, 0, 0},
         -1,
         4,
         1,
         "9 |||GetConfigRomEntry: second call to AsyncReadWrapper returned " + refused + " node 5\n" +
             entryFailed(TWL1394_ADDRESS_ERROR)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.quadlets));
        EXPECT_EQ(Read(row.quadlets), row.result);
        EXPECT_EQ(library.transactions.size(), row.transactions);
        EXPECT_EQ(rom.RawData.size(), row.rawBytes);
        std::erase_if(log, [](const std::string& line) { return line.starts_with("7 AsyncRead"); });
        EXPECT_EQ(fmt::format("{}", fmt::join(log, "\n")), row.log);
    }
}

TEST_F(ConfigRomReader, ReportsTheNodeThatItCannotRead) {
    library.result = [](std::size_t k) { return k < 5 ? 1 : TWL1394_TIMED_OUT; };
    EXPECT_EQ(ReadTree({}), -20);
    EXPECT_TRUE(Logged("7 ||GetConfigRomDirectory: target failed to respond in the given time, node index 0, address "
                       "0xFFFFFFFFF0000414."));
    log.clear();
    ByteArray data;
    ConfigRomLeaf leaf;
    EXPECT_EQ(basConfigRom::GetConfigRomEntry(1, 0, 0xFFFF0000, data), -1);
    EXPECT_EQ(basConfigRom::GetConfigRomDirectory(-1, 0, 0, rom), -1);
    basConfigRom::GetConfigRomLeaf("", 2, 0, {}, leaf);
    EXPECT_EQ(log, (Texts{"11 |GetConfigRomEntry: invalid node index: 1.  Exiting abnomally.",
                          "11 |GetConfigRomDirectory: invalid node index: -1.  Exiting abnomally.",
                          "11 |GetConfigRomLeaf: invalid node index: 2.  Exiting abnomally."}));
}

TEST_F(ConfigRomReader, ReadsALeafAgainWhoseFirstReadFailed) {
    library.result = [](std::size_t k) { return k == 5 + 3 ? SILENCE : 1; }; // the first read of the leaf's header
    ReadTree({0x00020000, 0x81000002, 0x81000001, 0x00030000, 0, 0, 0x41420000});
    EXPECT_EQ(root().Leaves.at(0).Text + "," + root().Leaves.at(1).Text, ",AB");
    EXPECT_FALSE(basConfigRom::IsWhole(rom));
}

TEST_F(ConfigRomReader, TriesTheHeaderThreeTimesDuringABusReset) {
    for (const std::size_t resets : {2u, 3u}) {
        library.result = [=](std::size_t k) { return k < resets ? TWL1394_BUS_RESET : 1; };
        const std::int32_t code = ReadTree({0x00020000, 0x03000F1B, 0x81000001, 0x00010000, 0x40000001});
        EXPECT_EQ(code, resets == 2 ? 1 : -1);
        EXPECT_EQ(rom.ModuleVendorId, resets == 2 ? 0xF1B : 0);
        EXPECT_EQ(root().Leaves[0].DescriptorType, resets == 2 ? 0x40 : 0); // and the walk continues
    }
    bas1394::globals.BusResetPending = false;
    library.result = [](std::size_t) { return SILENCE; };
    ReadTree({});
    EXPECT_EQ(library.transactions, Texts{"R5 FFFFF0000400 4 200"}); // no other failure is retried
}

TEST_F(ConfigRomReader, WalksTheTreeDepthFirst) {
    Words tree = {
        0x00070000, // 0: root
        0x81000014, // 1: leaf at 21, before any immediate
        0x03000F1B, // 2
        0xD1000005, // 3: directory at 8
        0xC3000014, // 4: directory at 24, beyond the ROM
        0x47000105, // 5: offset at 0xF0000414
        0x8100000F, // 6: leaf at 21 again
        0xC3000010, // 7: directory at 23, whose header is 0
        0x00040000, // 8: unit directory
        0x17000007, // 9
        0xD8000003, // 10: directory at 13
        0x07000001, // 11: an unknown key, but not in the root
        0x81000006, // 12: leaf at 18, whose header is 0
        0x00010000, // 13: below the unit directory
        0x09000002, // 14
    };
    tree.resize(21);
    tree.insert(tree.end(), {0x00010000, 0x40000001, 0}); // 21: leaf
    EXPECT_EQ(ReadTree(tree), 1);
    ASSERT_EQ(rom.Directories.size(), 5u);
    const struct {
        std::size_t quadlet, rawBytes, entries;
        Numbers links; // parent, preceding key, children
    } rows[] = {{0, 32, 7, {0, 0, 1, 3, 4}},
                {8, 20, 4, {0, 3, 2}},
                {13, 8, 1, {1, 0x17, 0}},
                {24, 1, 1, {0, 3, 0}},
                {23, 1, 1, {0, 3, 0}}};
    for (std::size_t i = 0; i < 5; ++i) {
        SCOPED_TRACE(i);
        const ConfigRomDirectory& directory = rom.Directories[i];
        Numbers links = {directory.Parent, directory.PrecedingKey};
        links.insert(links.end(), directory.Children.begin(), directory.Children.end());
        EXPECT_EQ(links, rows[i].links);
        EXPECT_EQ(directory.Address, Code(0xF0000414u + 4u * static_cast<unsigned>(rows[i].quadlet)));
        EXPECT_EQ(directory.RawData.size(), rows[i].rawBytes);
        EXPECT_EQ(directory.Entries.size(), rows[i].entries);
    }
    Numbers entries;
    for (const ConfigRomEntry& entry : root().Entries)
        entries.insert(entries.end(), {entry.KeyType, entry.KeyValue, entry.Index});
    EXPECT_EQ(entries, (Numbers{2, 1, 0, 0, 3, 0, 3, 0x11, 1, 3, 3, 3, 1, 7, 0, 2, 1, 1, 3, 3, 4}));
    ASSERT_EQ(root().Leaves.size(), 2u);
    EXPECT_EQ(root().Leaves[0].PrecedingKey, 0);
    EXPECT_EQ(root().Leaves[1].PrecedingKey, 3);
    EXPECT_EQ(root().Leaves[1].RawData, Quadlets({0x00010000, 0x40000001})); // shared, so read once:
    EXPECT_EQ(std::ranges::count(library.transactions, "R5 FFFFF0000468 4 200"), 1);
    EXPECT_EQ(root().Offsets.at(0).Value, 0x00070000);
    EXPECT_EQ(rom.Directories[2].Leaves.at(0).Address, 0); // the zeroed element
    EXPECT_TRUE(Logged("7 ||||GetConfigRomLeaf: failed call to GetConfigRomEntry, node 5."));
    EXPECT_TRUE(Logged("7 |||GetConfigRomDirectory: failed call to GetConfigRomEntry, code -21(0xFFFFFFEB), node 0, "
                       "address 0xFFFFFFFFF0000470."));
    EXPECT_FALSE(Logged("Unrecognized"));
}

TEST_F(ConfigRomReader, DecodesALeafAsFarAsItReaches) {
    // The entry's key byte, the leaf's data, its fields (descriptor type, specifier, width, character set, language)
    // and text.
    const std::tuple<std::uint32_t, Words, Numbers, const char*> rows[] = {
        {0x81, {0x01ABCDEF}, {1, 0, 0, 0, 0}, ""},
        {0x81, {0x12345678, 0x9ABC8DEF}, {0x12, 0x345678, 9, 0xABC, -0x7211}, ""},
        {0x81, {0, 0, 0x00414243}, {0, 0, 0, 0, 0}, ""},
        {0x81, {0, 0, 0x54610000, 0x41424344}, {0, 0, 0, 0, 0}, "Ta"},
        {0x81, {0, 0, 0x54E97A80}, {0, 0, 0, 0, 0}, "Téz€"},
        {0x82, {0, 0, 0x54610000}, {0, 0, 0, 0, 0}, ""},
    };
    for (const auto& [key, content, fields, text] : rows) {
        SCOPED_TRACE(text);
        Words tree = {0x00010000, key << 24 | 1, static_cast<std::uint32_t>(content.size()) << 16};
        tree.insert(tree.end(), content.begin(), content.end());
        EXPECT_EQ(ReadTree(tree), 1);
        const ConfigRomLeaf& leaf = root().Leaves[0];
        EXPECT_EQ((Numbers{leaf.DescriptorType, leaf.SpecifierID, leaf.width, leaf.CharacterSet, leaf.Language}),
                  fields);
        EXPECT_EQ(leaf.Text, text);
    }
}

TEST_F(ConfigRomReader, StoresTheImmediatesOfTheRoot) {
    EXPECT_EQ(ReadTree({0x000B0000, 0x03000001, 0x04000002, 0x05000003, 0x06000004, 0x08000005, 0x09000006, 0x0A000007,
                        0x0B000008, 0x17000009, 0x1700000A, 0x07000001}),
              1);
    EXPECT_EQ((Numbers{rom.ModuleVendorId, rom.ModuleHwVersion, rom.ModuleSpecId, rom.ModuleSwVersion, rom.NodeVendorId,
                       rom.NodeHwVersion, rom.NodeSpecId, rom.NodeSwVersion, rom.ModelId}),
              (Numbers{1, 2, 3, 4, 5, 6, 7, 8, 10})); // the later of two model IDs wins
    EXPECT_EQ(log, Texts{"7 Unrecognized KeyValue in GetFormattedConfigRom: 7"});
}

} // namespace

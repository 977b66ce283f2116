// The tree: directories, leaves, offsets, and where the root's immediates go.
#include "RomTest.h"

#include <algorithm>

using namespace testing_support;

namespace {

class ConfigRomTree : public RomTest {
protected:
    ConfigRomTree() { basApp::globals.DebugLoggingLevel = 7; }
    static std::int32_t Address(std::size_t quadlet) { return Code(0xF0000414u + 4u * static_cast<unsigned>(quadlet)); }
};

TEST_F(ConfigRomTree, IsReadDepthFirst) {
    EXPECT_EQ(ReadTree({
                  0x00060000, // 0: root
                  0x81000015, // 1: leaf at 22, before any immediate
                  0x03000F1B, // 2
                  0xD1000004, // 3: directory at 7
                  0xC3000010, // 4: directory at 20
                  0x47000105, // 5: offset at 0xF0000414
                  0x81000010, // 6: leaf at 22 again
                  0x00040000, // 7: unit directory
                  0x17000007, // 8
                  0xD8000003, // 9: directory at 12
                  0x07000001, // 10: unknown, but not in the root
                  0x81000007, // 11: leaf at 18, which is none
                  0x00010000, // 12: below the unit directory
                  0x09000002, // 13
                  0,          0, 0, 0, 0, 0,
                  0x00010000, // 20
                  0x04000003, // 21
                  0x00010000, // 22: leaf
                  0x40000001, // 23
              }),
              1);
    ASSERT_EQ(rom.Directories.size(), 4u);
    const struct {
        std::int32_t address, parent, precedingKey;
        std::vector<std::int32_t> children;
        std::size_t entries;
    } rows[] = {{Address(0), 0, 0, {1, 3}, 6},
                {Address(7), 0, 3, {2}, 4},
                {Address(12), 1, 0x17, {0}, 1},
                {Address(20), 0, 3, {0}, 1}};
    for (std::size_t i = 0; i < 4; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(rom.Directories[i].Address, rows[i].address);
        EXPECT_EQ(rom.Directories[i].Parent, rows[i].parent);
        EXPECT_EQ(rom.Directories[i].PrecedingKey, rows[i].precedingKey);
        EXPECT_EQ(rom.Directories[i].Children, rows[i].children);
        EXPECT_EQ(rom.Directories[i].Entries.size(), rows[i].entries);
        EXPECT_EQ(rom.Directories[i].Length, static_cast<std::int32_t>(rows[i].entries));
    }
    std::vector<std::int32_t> entries;
    for (const ConfigRomEntry& entry : root().Entries)
        entries.insert(entries.end(), {entry.KeyType, entry.KeyValue, entry.Index});
    EXPECT_EQ(entries, (std::vector<std::int32_t>{2, 1, 0, 0, 3, 0, 3, 0x11, 1, 3, 3, 3, 1, 7, 0, 2, 1, 1}));
    ASSERT_EQ(root().Leaves.size(), 2u);
    EXPECT_EQ(root().Leaves[0].PrecedingKey, 0);
    EXPECT_EQ(root().Leaves[1].PrecedingKey, 3);
    EXPECT_EQ(root().Leaves[1].RawData, root().Leaves[0].RawData);
    ASSERT_EQ(root().Offsets.size(), 1u);
    EXPECT_EQ(root().Offsets[0].Address, Address(0));
    EXPECT_EQ(root().Offsets[0].Value, 0x00060000);
    EXPECT_EQ(rom.Directories[3].Leaves[0].Address, 0);
    EXPECT_EQ(rom.Directories[1].Leaves[0].RawData.size(), 1u);
    EXPECT_EQ(log, Texts{"7 ||||GetConfigRomLeaf: failed call to GetConfigRomEntry, node 5."});
    EXPECT_EQ(std::ranges::count(library.transactions, "R5 FFFFF000046C 4 200"), 1); // a shared leaf is read once
}

TEST_F(ConfigRomTree, KeepsAFailedDirectoryAsOneZeroedElement) {
    EXPECT_EQ(ReadTree({0x00020000, 0xD1000002, 0x03000F1B, 0}), 1);
    ASSERT_EQ(rom.Directories.size(), 2u);
    EXPECT_EQ(rom.Directories[1].RawData.size(), 1u);
    EXPECT_EQ(rom.Directories[1].Entries.size(), 1u);
    EXPECT_EQ(rom.Directories[1].Address, Address(3));
    EXPECT_EQ(rom.ModuleVendorId, 0xF1B);
    EXPECT_EQ(log, Texts{"7 |||GetConfigRomDirectory: failed call to GetConfigRomEntry, code -21(0xFFFFFFEB), node 0, "
                         "address 0xFFFFFFFFF0000420."});
}

TEST_F(ConfigRomTree, DecodesALeafAsFarAsItReaches) {
    const struct {
        const char* name;
        std::uint32_t key; // type and value
        Words leaf;        // behind its header's length
        std::vector<std::int32_t> fields;
        const char* text;
    } rows[] = {
        {"one quadlet", 0x81, {0x01ABCDEF}, {1, 0, 0, 0, 0}, ""},
        {"no text", 0x81, {0x12345678, 0x9ABC8DEF}, {0x12, 0x345678, 9, 0xABC, -0x7211}, ""},
        {"an empty text", 0x81, {0, 0, 0x00414243}, {0, 0, 0, 0, 0}, ""},
        {"a text with its end", 0x81, {0, 0, 0x54610000, 0x41424344}, {0, 0, 0, 0, 0}, "Ta"},
        {"a text without one", 0x81, {0, 0, 0x54E97A80}, {0, 0, 0, 0, 0}, "Téz€"},
        {"another key", 0x82, {0, 0, 0x54610000}, {0, 0, 0, 0, 0}, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Words tree = {0x00010000, row.key << 24 | 1, static_cast<std::uint32_t>(row.leaf.size()) << 16 | 0xBEEF};
        tree.insert(tree.end(), row.leaf.begin(), row.leaf.end());
        EXPECT_EQ(ReadTree(tree), 1);
        const ConfigRomLeaf& leaf = root().Leaves[0];
        EXPECT_EQ((std::vector<std::int32_t>{leaf.DescriptorType, leaf.SpecifierID, leaf.width, leaf.CharacterSet,
                                             leaf.Language}),
                  row.fields);
        EXPECT_EQ(leaf.Text, row.text);
        EXPECT_EQ(leaf.Length, static_cast<std::int32_t>(row.leaf.size()));
        EXPECT_EQ(leaf.Crc, 0xBEEF);
    }
}

TEST_F(ConfigRomTree, StoresTheImmediatesOfTheRoot) {
    EXPECT_EQ(ReadTree({0x000C0000, 0x03000001, 0x04000002, 0x05000003, 0x06000004, 0x08000005, 0x09000006, 0x0A000007,
                        0x0B000008, 0x17000009, 0x1700000A, 0x0C00A953, 0x07000001}),
              1);
    EXPECT_EQ((std::vector<std::int32_t>{rom.ModuleVendorId, rom.ModuleHwVersion, rom.ModuleSpecId, rom.ModuleSwVersion,
                                         rom.NodeVendorId, rom.NodeHwVersion, rom.NodeSpecId, rom.NodeSwVersion,
                                         rom.ModelId}),
              (std::vector<std::int32_t>{1, 2, 3, 4, 5, 6, 7, 8, 10})); // the last of two wins
    const NodeCapabilityFlags& c = rom.NodeCapabilities;
    const std::vector<bool> flags = {c.SplitTimeout,  c.MessagePassing, c.InterruptRegisters, c.ArgumentRegisters,
                                     c.TestRegisters, c.PrivateSpace,   c.BitAddressing64,    c.FixedAddressing,
                                     c.LostBit,       c.DisableRequest, c.ErrorLogRegister,   c.AttentionBit,
                                     c.OffBit,        c.DeadState,      c.InitializingState};
    EXPECT_EQ(flags, (std::vector<bool>{1, 0, 1, 0, 1, 0, 0, 1, 0, 1, 1, 0, 0, 1, 1}));
    EXPECT_EQ(log, Texts{"7 Unrecognized KeyValue in GetFormattedConfigRom: 7"});
}

} // namespace

// The exact rows of a ROM: scripts read them.
#include "ConfigRomText.h"
#include "RomTest.h"

using namespace testing_support;

namespace {

class ConfigRomText : public RomTest {
protected:
    std::int32_t Format() {
        log.clear();
        return basConfigRom::FormatConfigRomApple(tree, rom);
    }
    basConfigRom::RomTree tree;
};

TEST_F(ConfigRomText, ShowsEachQuadletWithItsMeaning) {
    EXPECT_EQ(Read({0x04258765, 0x31333934, 0xA864A1B2, 0x000F1BC3, 0x14050607, // bus info block
                    0x0006ABCD, 0x03000F1B, 0x81000005, 0x0C00A953, 0x16000042, 0x44000100, 0xD1000006, // root
                    0x00041357, 0x00000001, 0x21230409, 0x5461726E, 0x77656C6C,                         // "Tarnwell"
                    0x00042468, 0x1200A02D, 0x0C0083C0, 0x8D000002, 0x81F00000,                         // unit
                    0x00021111, 0x000F1BC3, 0x14050607}),
              1);
    EXPECT_EQ(Format(), 1);
    const std::pair<int, std::string> rows[] = {
        // depth, text
        {0, "BUS INFO BLOCK"},
        {1, "0xF0000400   0x04258765  ROM Header (General), info_len=4 quadlets, crc_len=0x25 quadlets, crc=0x8765"},
        {1, "0xF0000404   0x31333934  \"1394\""},
        {1, "0xF0000408   0xA864A1B2  IRMC ISC PMC CycClkAcc=0x64 MaxRec=0xA MaxRom=0x1 Generation=0xB LinkSpd=0x2 "},
        {1, "0xF000040C   0x000F1BC3  NodeVendorID = 0xF1B, ChipIDHi = 0xC3"},
        {1, "0xF0000410   0x14050607  ChipIdLow = 0x14050607"},
        {0, "ROOT DIRECTORY"},
        {1, "0xF0000414   0x0006ABCD  Directory header, length=0x6 quadlets, crc=0xABCD"},
        {1, "0xF0000418   0x03000F1B  key type=0 (imm), key=0x03 value=MODULE VENDOR ID  data=0xF1B"},
        {1, "0xF000041C   0x81000005  key type=2 (leaf),key=0x01 value=(Text)  data=0x5"},
        {2, "0xF0000430   0x00041357  Leaf header, length=0x4 quadlets, crc=0x1357"},
        {2, "0xF0000434   0x00000001  DescriptorType=0x0  SpecifierID=0x1"},
        {2, "0xF0000438   0x21230409  width=0x2  CharacterSet=0x123  Language=0x409"},
        {2, "0xF000043C   5461726E 77656C6C "},
        {3, "\"Tarnwell\""},
        {1, "0xF0000420   0x0C00A953  key type=0 (imm), key=0x0C value=NODE_CAPABILITIES  data=0xA953"},
        {2, "SplitTimeout"},
        {2, "InterruptRegisters"},
        {2, "TestRegisters"},
        {2, "FixedAddressing"},
        {2, "DisableRequest"},
        {2, "ErrorLogRegister"},
        {2, "DeadState"},
        {2, "InitializingState"},
        {1, "0xF0000424   0x16000042  key type=0 (imm), key=0x16 value=UNKNOWN:0x16  data=0x42"},
        {1, "0xF0000428   0x44000100  key type=1 (off), key=0x04 value=MODULE HW VERSION  data=0x100"},
        {2, "0xF0000400   0x04258765  (offset data)"},
        {1, "0xF000042C   0xD1000006  key type=3 (dir), key=0x11 value=UNIT_DIRECTORY_OFFSET  data=0x6"},
        {2, "0xF0000444   0x00042468  Directory header, length=0x4 quadlets, crc=0x2468"},
        {2, "0xF0000448   0x1200A02D  key type=0 (imm), key=0x12 value=SPECIFIER_ID  data=0xA02D (AVC)"},
        {2, "0xF000044C   0x0C0083C0  key type=0 (imm), key=0x0C value=NODE_CAPABILITIES  data=0x83C0"},
        {2, "0xF0000450   0x8D000002  key type=2 (leaf),key=0x0D value=NODE_UNIQUE_ID  data=0x2"},
        {3, "0xF0000458   0x00021111  Leaf header, length=0x2 quadlets, crc=0x1111"},
        {3, "000F1BC3 14050607 "},
        {2, "0xF0000454   0x81F00000  key type=2 (leaf),key=0x01 value=(Text)  data=0xF00000"},
        {3, "0xF3C00460   "}, // a leaf that couldn't be read
        {4, "\"\""},
    };
    ASSERT_EQ(tree.Rows.size(), std::size(rows));
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        int depth = 0;
        for (int at = tree.Rows[i].Parent; at >= 0; at = tree.Rows[std::size_t(at)].Parent)
            ++depth;
        EXPECT_EQ(std::pair(depth, tree.Rows[i].Text), rows[i]);
    }
    EXPECT_TRUE(Logged(" in FormatConfigRomLeafApple"));
    EXPECT_EQ(basConfigRom::RomText(tree).substr(0, 16), "BUS INFO BLOCK\r\n");
}

TEST_F(ConfigRomText, NumbersLeavesSeparatelyAndContinuesAfterAMissingDirectory) {
    ReadTree({0x00060000, 0x8D000006, 0x03000001, 0x8D000004, 0xD1F00000, 0x8D000002, 0xD1000003, 0x00010000, 5,
              0x00010000, 0x17000003});
    EXPECT_EQ(Format(), 1);
    Texts leaves;
    for (const basConfigRom::RomRow& row : tree.Rows)
        if (row.Key.find("_LEAF_") != std::string::npos)
            leaves.push_back(row.Key);
    EXPECT_EQ(leaves, (Texts{"DIRECTORY_000_KEY_000_LEAF_000", "DIRECTORY_000_KEY_002_LEAF_001",
                             "DIRECTORY_000_KEY_004_LEAF_002"}));
    // The unreadable directory has no row; the next one has.
    EXPECT_EQ(tree.Rows.back().Text, "0xF000043C   0x17000003  key type=0 (imm), key=0x17 value=MODEL ID  data=0x3");
    EXPECT_EQ(tree.Rows.back().Key, "DIRECTORY_002_KEY_000");
}

TEST_F(ConfigRomText, NamesTheOtherBitsOfTheBusInfoBlockAndOfTheCapabilities) {
    Read({0x04000000, 0, 0x54FF52C5, 0, 0, 0x00010000, 0x0C0056AC});
    Format();
    EXPECT_EQ(tree.Rows[3].Text,
              "0xF0000408   0x54FF52C5  CMC BMC ADJ CycClkAcc=0xFF MaxRec=0x5 MaxRom=0x2 Generation=0xC LinkSpd=0x5 ");
    std::string flags;
    for (std::size_t i = 9; i < tree.Rows.size(); ++i)
        flags += tree.Rows[i].Text + " ";
    EXPECT_EQ(flags, "MessagePassing ArgumentRegisters PrivateSpace BitAddressing64 LostBit AttentionBit OffBit ");
}

TEST_F(ConfigRomText, CopesWithAnyRecord) {
    const std::string inDirectory = "in FormatConfigRomDirectoryApple", failed = "ERROR: Failed call to Format";
    auto& directories = rom.Directories;
    const std::tuple<const char*, std::function<void()>, std::int32_t, std::size_t, std::string> rows[] = {
        {"no bus info block", [&] { rom.info_len = 0; }, -1, 0, "ERROR: Invalid config rom in FormatConfigRomApple!"},
        {"a cut bus info block", [&] { rom.RawData.resize(10); }, 1, 12 - 3, "in FormatConfigRomBusInfoBlockApple"},
        {"no root directory", [&] { directories[0].RawData.resize(3); }, -1, 7, failed + "ConfigRomDirectoryApple in "},
        {"a root that lies in itself", [&] { directories[0].Children = {0}; }, 1, 12 - 2, ""},
        {"a child that lies in itself", [&] { directories[1] = directories[0]; }, 1, 12 + 1, ""},
        {"a child that isn't there", [&] { directories[0].Children = {7}; }, 1, 12 - 2, ""},
        {"no list of children", [&] { directories[0].Children.clear(); }, 1, 12 - 2, inDirectory},
        {"more entries than bytes", [&] { directories[1].Entries.resize(3); }, 1, 12, inDirectory},
    };
    for (const auto& [name, given, result, count, words] : rows) {
        SCOPED_TRACE(name);
        ReadTree({0x00020000, 0xD1000002, 0x03000F1B, 0x00010000, 0x17000003});
        given();
        EXPECT_EQ(Format(), result);
        EXPECT_EQ(tree.Rows.size(), count);
        EXPECT_TRUE(Logged(words)) << testing::PrintToString(log);
    }
}

} // namespace

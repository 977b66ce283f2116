// The texts about a node that a user sees.
#include "RomTest.h"

using namespace testing_support;
using namespace basConfigRom;

namespace {

using ConfigRomQueries = RomTest;

TEST_F(ConfigRomQueries, FindTheTextAfterAnImmediate) {
    constexpr std::uint32_t OTHER = 0x12000001, UB = 0x55620000, NO_C = 0x6E4F2063, ONFI = 0x4F6E4669, G = 0x67000000;
    const std::string noVendor = "<UNREADABLE CONFIG ROM VENDOR TEXT>", noUnit = "DirectoryType 0x11 not found",
                      noModel = "<UNREADABLE CONFIG ROM MODEL TEXT>";
    // Directories, followed by a leaf with the text "Ta"; vendor and model text. An entry's first byte holds its type
    // (0x00 immediate, 0x80 leaf, 0xC0 directory) and key, the others a value or an offset in quadlets.
    const std::tuple<Words, std::string, std::string> rows[] = {
        {{0x00020000, 0x03000F1B, 0x81000001}, "Ta", noUnit},
        {{0x00010000, 0xD1000001, 0x00020000, 0x17000001, 0x81000001}, noVendor, "Ta"},
        // The unit directory has no model: that of the module vendor directory, or none.
        {{0x00020000, 0xD1000002, 0xC3000003, 0x00010000, OTHER, 0x00020000, 0x17000001, 0x81000001}, noVendor, "Ta"},
        {{0x00010000, 0xD1000001, 0x00010000, OTHER}, noVendor, "DirectoryType 0x3 not found"},
        {{0x00020000, 0xD1000002, 0xC3000003, 0x00010000, OTHER, 0x00010000, OTHER}, noVendor, noModel},
        // A leaf before any immediate; the first of two leaves, after one of another kind.
        {{0x00020000, 0x81000002, 0x03000F1B}, noVendor, noUnit},
        {{0x00040000, 0x03000F1B, 0x82000003, 0x81000002, 0x81000005, 0x00030000, 0, 0, UB}, "Ub", noUnit},
        // The vendor text is "No config" in some case, so the node vendor's is used.
        {{0x00040000, 0x03000F1B, 0x81000003, 0x08000F1B, 0x81000007, 0x00050000, 0, 0, NO_C, ONFI, G}, "Ta", noUnit},
    };
    for (const auto& [entries, vendor, model] : rows) {
        SCOPED_TRACE(testing::PrintToString(entries));
        Words tree = entries;
        tree.insert(tree.end(), {0x00030000, 0, 0, 0x54610000});
        EXPECT_EQ(ReadTree(tree), 1);
        EXPECT_EQ(GetConfigRomVendorText(rom), vendor);
        EXPECT_EQ(GetConfigRomModelText(rom), model);
        EXPECT_FALSE(ConfigRomIsMinimal(rom));
    }
}

TEST_F(ConfigRomQueries, DescribeARomThatHasNoText) {
    EXPECT_EQ(GetConfigRomKeyText(0, 3, rom), "No Config ROM");
    EXPECT_EQ(GetConfigRomVendorText(rom), "<UNREADABLE CONFIG ROM VENDOR TEXT>");
    EXPECT_EQ(GetConfigRomModelText(rom), "<UNREADABLE CONFIG ROM MODEL TEXT>");
    EXPECT_FALSE(ConfigRomIsMinimal(rom));
    Read({0x01000A27});
    EXPECT_TRUE(ConfigRomIsMinimal(rom));
    EXPECT_EQ(GetConfigRomModelText(rom), "Minimal ConfigRom (ven 0xA27)");
    EXPECT_EQ(GetConfigRomGuidText(rom), "00000000 00000000");
    EXPECT_EQ(ReadTree({}), -20);
    EXPECT_EQ(GetConfigRomModelText(rom), "No root directory");
    EXPECT_EQ(GetConfigRomGuidText(rom), "000F1BAB 00000005");
}

TEST_F(ConfigRomQueries, ListHardwareVersionsOnceTheBusIsEnumerated) {
    ReadTree({0x00030000, 0x04000011, 0x09000002, 0xD1000001, 0x00020000, 0x89F00000, 0x03000001});
    EXPECT_EQ(GetHardwareVersion(rom), "");
    bas1394::globals.BusEnumerated = true;
    EXPECT_EQ(GetHardwareVersion(rom), " MODULE_HW_VERSION=17 NODE_HW_VERSION=2 NODE_HW_VERSION=15728640");
    EXPECT_EQ(GetHardwareVersion({}), "<not found>");
}

} // namespace

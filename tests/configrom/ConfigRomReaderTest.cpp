// The bus info block, and what each kind of ROM ends with.
#include "RomTest.h"

using namespace testing_support;

namespace {

class ConfigRomReader : public RomTest {
protected:
    ConfigRomReader() { basApp::globals.DebugLoggingLevel = 5; }
};

TEST_F(ConfigRomReader, DecodesEachFieldOfTheBusInfoBlock) {
    const auto fields = [this] {
        return std::vector<std::int64_t>{rom.info_len, rom.crc_len,  rom.crc,        rom.IRMC,    rom.CMC,
                                         rom.ISC,      rom.BMC,      rom.PMC,        rom.ADJ,     rom.CycClkAcc,
                                         rom.MaxRec,   rom.MaxRom,   rom.Generation, rom.LinkSpd, rom.NodeVendorID,
                                         rom.ChipIDHi, rom.ChipIdLow};
    };
    Read({0x04258765, 0x31333934, 0xA864A1B2, 0x00F1B2C3, 0x84050607, 0x00010000, 0x03000000});
    EXPECT_EQ(fields(), (std::vector<std::int64_t>{4, 37, 0x8765, 1, 0, 1, 0, 1, 0, 100, 10, 1, 11, 2, 0xF1B2, 0xC3,
                                                   static_cast<std::int32_t>(0x84050607)}));
    EXPECT_EQ(rom.GUID, (std::array<std::uint8_t, 8>{0, 0xF1, 0xB2, 0xC3, 0x84, 5, 6, 7}));
    EXPECT_EQ(rom.RawData.size(), 20u);
    Read({0x04000000, 0, 0x54FF52C5, 0, 0, 0x00010000, 0x03000000});
    EXPECT_EQ(fields(), (std::vector<std::int64_t>{4, 0, 0, 0, 1, 0, 1, 0, 1, 255, 5, 2, 12, 5, 0, 0, 0}));
}

TEST_F(ConfigRomReader, GivesEachKindOfRomItsResultAndItsWords) {
    Words longRoot = BUS_INFO, longerRoot = BUS_INFO;
    longRoot.push_back(0x02000000);
    longRoot.resize(5 + 513, 0x03000001);
    longerRoot.push_back(0x02010000);
    longerRoot.resize(5 + 514, 0x03000001);
    const std::string short12 =
        "7 ||GetFormattedConfigRomBusInfoBlock warning: only 12 bytes of data returned from call to get bus info block "
        "in bas1394.GetFormattedConfigRomBusInfoBlock (node index #0.  EXITING ABNORMALLY.";
    const std::string noBusInfo = "5 |GetFormattedConfigRom: failed to read BusInfoBlock (nodeindex #0) in "
                                  "bas1394.GetFomattedConfigRom.";
    const std::string entryFailed = "5 ||GetFormattedConfigRomBusInfoBlock failed: call to GetConfigRomEntry (node "
                                    "index #0) failed, code ";
    const struct {
        const char* name;
        Words quadlets;
        std::int32_t result;
        std::size_t transactions;
        Texts log;
    } rows[] = {
        {"a root of 512 entries", longRoot, 1, 5 + 513, {}},
        {"a longer bus info block", {0x05000000, 0, 0, 0xF1B00, 0, 0, 0x00010000, 0x03000F1B}, 1, 8, {}},
        {"a header of 0",
         {0},
         -1,
         1,
         {"5 |||Null header quadlet at the base of the config rom entry, node 5, address 0xFFFFF0000400.",
          entryFailed + "-21", noBusInfo}},
        {"a length of 0",
         {0x00040000},
         -1,
         1,
         {"7 |||0 length of config rom entry header, node 5, address 0xFFFFF0000400!", entryFailed + "-1", noBusInfo}},
        {"a minimal ROM", {0x01000A27}, -1, 1, {"5 ||Minimal config rom on Node index #0"}},
        {"a short bus info block", {0x02000000, 0, 0}, -1, 3, {short12, noBusInfo}},
        {"a bus info block cut off",
         {0x04000000, 0, 0},
         -1,
         4,
         {"9 |||GetConfigRomEntry: second call to AsyncReadWrapper returned code -2147483625(0x80000017) node 5",
          entryFailed + "-2147483625", noBusInfo}},
        {"no root",
         BUS_INFO,
         -20,
         6,
         {"5 |||Could not read config rom data at address 0xFFFFF0000414 node 5, code -2147483625(0x80000017)!",
          "7 ||GetConfigRomDirectory: failed call to GetConfigRomEntry, code -2147483625(0x80000017), node 0, address "
          "0xFFFFFFFFF0000414."}},
        {"a root of 513 entries",
         longerRoot,
         -20,
         6,
         {"7 |||Invalid length (513) indicated in header of config rom entry, node 5, address 0xFFFFF0000414!",
          "7 ||GetConfigRomDirectory: failed call to GetConfigRomEntry, code -1(0xFFFFFFFF), node 0, address "
          "0xFFFFFFFFF0000414."}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(Read(row.quadlets), row.result);
        EXPECT_EQ(library.transactions.size(), row.transactions);
        std::erase_if(log, [](const std::string& line) { return line.starts_with("7 AsyncRead"); });
        EXPECT_EQ(log, row.log);
    }
}

TEST_F(ConfigRomReader, LooksAtTheFirstByteOfAMinimalRomOnlyAtTheBase) {
    Read({0x01000A27});
    EXPECT_EQ(rom.RawData, (ByteArray{1, 0, 0x0A, 0x27, 0}));
    Words root = {0x01000000};
    root.resize(257, 0x03000001); // its length has a high byte of 1
    EXPECT_EQ(ReadTree(root), 1);
    EXPECT_EQ(rom.Directories[0].Entries.size(), 256u);
}

TEST_F(ConfigRomReader, TriesTheHeaderThreeTimesDuringABusReset) {
    const Words good = [] {
        Words quadlets = BUS_INFO;
        quadlets.insert(quadlets.end(), {0x00010000, 0x03000F1B});
        return quadlets;
    }();
    for (const std::size_t resets : {2u, 3u}) {
        library.result = [=](std::size_t k) { return k < resets ? Code(0x80000001) : 1; };
        EXPECT_EQ(Read(good), resets == 2 ? 1 : -1);
        EXPECT_EQ(rom.NodeVendorID, resets == 2 ? 0xF1B : 0);
        EXPECT_EQ(rom.ModuleVendorId, resets == 2 ? 0xF1B : 0);
    }
    library.result = [](std::size_t) { return 121; };
    bas1394::globals.BusResetPending = false;
    Read(good);
    EXPECT_EQ(library.transactions, Texts{"R5 FFFFF0000400 4 200"}); // nothing else is tried again
}

TEST_F(ConfigRomReader, SaysThatATargetTookTooLong) {
    library.result = [](std::size_t k) { return k < 5 ? 1 : Code(0x80000102); };
    EXPECT_EQ(Read(BUS_INFO), -20);
    EXPECT_TRUE(Logged("7 ||GetConfigRomDirectory: target failed to respond in the given time, node index 0, address "
                       "0xFFFFFFFFF0000414."));
    EXPECT_EQ(rom.NodeVendorID, 0xF1B);
}

TEST_F(ConfigRomReader, RefusesANodeThatIsNotInTheTable) {
    ByteArray data;
    ConfigRomLeaf leaf;
    for (const std::int32_t index : {1, -1}) {
        EXPECT_EQ(basConfigRom::GetConfigRomEntry(index, 0, 0xFFFF0000, data), -1);
        EXPECT_EQ(basConfigRom::GetConfigRomDirectory(index, 0, 0, rom), -1);
        basConfigRom::GetConfigRomLeaf("", index, 0, {}, leaf);
    }
    EXPECT_TRUE(Logged("11 |GetConfigRomEntry: invalid node index: 1.  Exiting abnomally."));
    EXPECT_TRUE(Logged("11 |GetConfigRomDirectory: invalid node index: -1.  Exiting abnomally."));
    EXPECT_TRUE(Logged("11 |GetConfigRomLeaf: invalid node index: 1.  Exiting abnomally."));
    EXPECT_TRUE(library.transactions.empty());
}

} // namespace

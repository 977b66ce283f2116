// What the info registers say about a node, in every protocol.
#include "TargetScript.h"

using namespace testing_support;
using namespace basBootloader;

namespace {

class Identification : public OneTarget {
protected:
    std::int32_t read() {
        library.transactions.clear();
        return ReadInfoRegisters(record().Device, info);
    }
    BootloaderInfoRegisters info;
};

TEST_F(Identification, DecodesEachFieldAtItsPlaceInTheByteOrderOfTheProtocol) {
    for (const std::int32_t version : {1, 2, 3, 0x2000000}) {
        SCOPED_TRACE(version);
        target.info = InfoBytes(version);
        for (std::size_t i = 12; i < 104; ++i)
            target.info[i] = static_cast<std::uint8_t>(i);
        EXPECT_EQ(read(), 1);
        const bool big = version == 0x2000000;
        EXPECT_EQ(info.ProtocolVersion, version);
        EXPECT_EQ(info.BootloaderVersion, big ? 0x0C0D0E0F : 0x0F0E0D0C);
        const std::array<std::uint8_t, 8> lying{16, 17, 18, 19, 20, 21, 22, 23}, turned{19, 18, 17, 16, 23, 22, 21, 20};
        EXPECT_EQ(info.GUID, big ? lying : turned);
        EXPECT_EQ(info.HardwareModelID, big ? 0x18191A1B : 0x1B1A1918);
        EXPECT_EQ(info.HardwareVersion, big ? 0x1C1D1E1F : 0x1F1E1D1C);
        EXPECT_EQ(info.ApplicationTime[7], 47);
        EXPECT_EQ(info.ApplicationVersion, big ? 0x34353637 : 0x37363534);
        EXPECT_EQ(info.DebuggerTime[0], 88);
        EXPECT_EQ(info.DebuggerVersion, big ? 0x64656667 : 0x67666564);
    }
    EXPECT_TRUE(Logged("ReadInfoRegisters: Protocol version 2 is implemented as BigEndian"));
}

TEST_F(Identification, RecognizesTargetsByVendorAndVersionAlone) {
    // The eight bytes of the vendor, the version, whether it is a target.
    const std::tuple<const char*, std::int32_t, bool> rows[] = {
        {"tarnwell", 1, true},  {"TARNWELL", 3, true},  {"tarnwels", 1, false}, {"\0\0\0\0\0\0\0", 1, false},
        {"tarnwell", 0, false}, {"tarnwell", 4, false}, {"tarnwell", -1, false}};
    for (const auto& [maker, version, compatible] : rows) {
        SCOPED_TRACE(fmt::format("{} {}", maker, version));
        target.info = InfoBytes(version);
        std::copy_n(maker, 8, target.info.begin());
        EXPECT_EQ(read(), compatible ? 1 : -1);
        // The other registers are read only from a target.
        const Texts reads = {"R0 FFFFC8020000 12 200", "R0 FFFFC8020000 104 200"};
        EXPECT_EQ(library.transactions, Texts(reads.begin(), reads.begin() + (compatible ? 2 : 1)));
    }
    EXPECT_TRUE(Logged("VerifyCompatibility: invalid protocol version: (app=1, 2, target=4)"));
    EXPECT_TRUE(Logged("device returned {00 00 00 00 00 00 00 00}"));
}

TEST_F(Identification, RetriesOnceAfterSilenceOrABusReset) {
    for (const auto& [failures, code, result, reads] : {std::tuple{1, SILENCE, 1, 3},
                                                        {9, SILENCE, SILENCE, 2},
                                                        {1, TWL1394_BUS_RESET, 1, 3},
                                                        {9, TWL1394_BUS_RESET, -105, 2},
                                                        {9, TWL1394_ADDRESS_ERROR, TWL1394_ADDRESS_ERROR, 1}}) {
        target.failingReads = failures;
        target.failureCode = code;
        bas1394::globals.BusResetPending = false;
        EXPECT_EQ(read(), result);
        EXPECT_EQ(std::ssize(library.transactions), reads) << failures << " times " << code;
    }
    EXPECT_TRUE(Logged("code 121  params: NodeNum=0 addr=FFFFC8020000 numbytes=12"));
}

TEST_F(Identification, ShowsAPrivateBuildByItsLow24Bits) {
    Put(target.info, 52, "FF FF FF 00");
    read();
    EXPECT_TRUE(Logged("Node #0: bootloader version=257, hardware version=17.16777216, software version=4660 "
                       "<private build> 2002-08-31 15:25:03 utc"));
}

TEST_F(Identification, RecognizesADebuggerByItsAnswer) {
    for (std::size_t wrong = 0; wrong < 9; ++wrong) { // each byte, then the right answer
        target.debuggerAnswer = Bytes("01 01 00 00 80 80 01 00 00");
        target.debuggerAnswer[wrong] ^= 0x40;
        library.transactions.clear();
        EXPECT_EQ(CheckForDebugSupport(record().Device), wrong == 2 || wrong == 8) << wrong;
        EXPECT_EQ(library.transactions, (Texts{"W0 FFFFC8000000 200 01010000 80800100", "R0 FFFFC8010000 8 200"}));
    }
    target.debuggerAnswer.clear();
    const std::int64_t before = clock.Now();
    EXPECT_FALSE(CheckForDebugSupport(record().Device, 1000));
    EXPECT_GE(clock.Now() - before, 1'000'000'000);
}

} // namespace

// What the info registers tell of a node, in every protocol.
#include "TargetScript.h"

using namespace testing_support;
using namespace basBootloader;

namespace {

class Identification : public OneTarget {
protected:
    std::int32_t read() {
        bus.calls.clear();
        return ReadInfoRegisters(record().Device, info);
    }
    BootloaderInfoRegisters info;
};

TEST_F(Identification, DecodesNumbersAndGuidInTheByteOrderOfTheProtocol) {
    for (const std::int32_t version : {1, 2, 3, 0x2000000}) {
        SCOPED_TRACE(version);
        target.info = InfoBytes(version);
        Put(target.info, 12, "01 02 03 04  00 01 02 03 04 05 06 07  11 12 13 14");
        EXPECT_EQ(read(), 1);
        const bool big = version == 0x2000000;
        EXPECT_EQ(info.ProtocolVersion, version);
        EXPECT_EQ(info.BootloaderVersion, big ? 0x01020304 : 0x04030201);
        EXPECT_EQ(info.HardwareModelID, big ? 0x11121314 : 0x14131211);
        const std::array<std::uint8_t, 8> lying{0, 1, 2, 3, 4, 5, 6, 7}, turned{3, 2, 1, 0, 7, 6, 5, 4};
        EXPECT_EQ(info.GUID, big ? lying : turned);
    }
    EXPECT_TRUE(Logged("ReadInfoRegisters: Protocol version 2 is implemented as BigEndian"));
}

TEST_F(Identification, FindsEachFieldAtItsPlace) {
    for (std::size_t i = 24; i < 104; ++i)
        target.info[i] = static_cast<std::uint8_t>(i);
    EXPECT_EQ(read(), 1);
    EXPECT_EQ(info.HardwareVersion, 0x1F1E1D1C);
    EXPECT_EQ(info.ApplicationTime[7], 47);
    EXPECT_EQ(info.ApplicationVersion, 0x37363534);
    EXPECT_EQ(info.DebuggerTime[0], 88);
    EXPECT_EQ(info.DebuggerVersion, 0x67666564);
}

TEST_F(Identification, KnowsItsOwnByMakerAndVersionAlone) {
    const struct {
        const char* maker; // 8 bytes
        std::int32_t version;
        bool compatible;
    } rows[] = {{"tarnwell", 1, true},  {"TARNWELL", 3, true},  {"tarnwels", 1, false}, {"\0\0\0\0\0\0\0", 1, false},
                {"tarnwell", 0, false}, {"tarnwell", 4, false}, {"tarnwell", -1, false}};
    for (const auto& row : rows) {
        SCOPED_TRACE(fmt::format("{} {}", row.maker, row.version));
        target.info = InfoBytes(row.version);
        std::copy_n(row.maker, 8, target.info.begin());
        EXPECT_EQ(read(), row.compatible ? 1 : -1);
        // The rest is read of a target only.
        EXPECT_EQ(bus.Trace(), std::string("R0 FFFFC8020000 12|") + (row.compatible ? "R0 FFFFC8020000 104|" : ""));
    }
    EXPECT_TRUE(Logged("VerifyCompatibility: invalid protocol version: (app=1, 2, target=4)"));
    EXPECT_TRUE(Logged("device returned {00 00 00 00 00 00 00 00}"));
}

TEST_F(Identification, ReadsAgainOnceAfterSilenceOrABusReset) {
    for (const auto& [failures, code, result, reads] : {std::tuple{1, 121, 1, 3},
                                                        {9, 121, 121, 2},
                                                        {1, Code(0x80000001), 1, 3},
                                                        {9, Code(0x80000001), -105, 2},
                                                        {9, Code(0x80000017), Code(0x80000017), 1}}) {
        target.failingReads = failures;
        target.failureCode = code;
        bas1394::globals.BusResetPending = false;
        EXPECT_EQ(read(), result);
        EXPECT_EQ(std::ssize(bus.calls), reads) << failures << " times " << code;
    }
    EXPECT_TRUE(Logged("code 121  params: NodeNum=0 addr=FFFFC8020000 numbytes=12"));
}

TEST_F(Identification, ShowsAPrivateBuildByItsTwentyFourBits) {
    Put(target.info, 52, "FF FF FF 00");
    read();
    EXPECT_TRUE(Logged("Node #0: bootloader version=257, hardware version=17.16777216, software version=4660 "
                       "<private build> 2002-08-31 15:25:03 utc"));
    Put(target.info, 52, "FF FF FF FF");
    read();
    EXPECT_TRUE(Logged("software version=4660.-1 2002-08-31"));
}

TEST_F(Identification, RecognisesADebuggerByItsAnswer) {
    for (const auto& [answer, found] : {std::pair{"01 01 00 00 80 80 01 00", true},
                                        {"01 01 AA 00 80 80 01 00", true},
                                        {"01 01 00 00 80 80 00 00", false}}) {
        target.debuggerAnswer = Bytes(answer);
        bus.calls.clear();
        EXPECT_EQ(CheckForDebugSupport(record().Device), found) << answer;
        EXPECT_EQ(bus.Trace(), "W0 FFFFC8000000 01010000 80800100|R0 FFFFC8010000 8|");
    }
    const std::int64_t before = clock.Now();
    EXPECT_FALSE(CheckForDebugSupport(record().Device, 1000));
    EXPECT_GE(clock.Now() - before, 1'000'000'000);
}

} // namespace

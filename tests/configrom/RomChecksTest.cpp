// The findings of the checks; a good ROM has none.
#include "RomChecks.h"
#include "RomTest.h"

#include <algorithm>

using namespace testing_support;
using namespace basConfigRom;

namespace {

std::uint16_t Crc(const Words& quadlets) { // four bits at a time, as in IEEE 1212
    std::uint32_t crc = 0;
    for (const std::uint32_t quadlet : quadlets)
        for (int shift = 28; shift >= 0; shift -= 4) {
            const std::uint32_t sum = (crc >> 12 ^ quadlet >> shift) & 0xF;
            crc = (crc << 4 ^ sum << 12 ^ sum << 5 ^ sum) & 0xFFFF;
        }
    return std::uint16_t(crc);
}

std::uint16_t CrcAt(const Words& rom, std::size_t header) {
    const std::size_t length = header == 0 ? rom[0] >> 16 & 0xFF : rom[header] >> 16;
    const auto from = rom.begin() + std::ptrdiff_t(header) + 1;
    return Crc(Words(from, from + std::min(std::ptrdiff_t(length), rom.end() - from)));
}

class RomChecks : public RomTest {
protected:
    // Quadlets 0 bus info block, 5 root, 11 text, 15 GUID, 18 unit, 22 its text.
    const Words good = {0x04040000, 0x31333934, 0xA864A1B2, 0x000F1BC3, 0x14050607,             //
                        0x00050000, 0x03000F1B, 0x81000004, 0x0C0083C0, 0x8D000006, 0xD1000008, //
                        0x00030000, 0,          0,          0x54610000,                         //
                        0x00020000, 0x000F1BC3, 0x14050607,                                     //
                        0x00030000, 0x12000F1B, 0x13000001, 0x81000001,                         //
                        0x00030000, 0,          0,          0x55620000};
    static void Seal(Words& rom, const std::vector<std::size_t>& headers) {
        for (const std::size_t header : headers)
            rom[header] |= CrcAt(rom, header);
    }
    // All findings except correct CRCs, with the number of the quadlet: "fault key-type 10".
    Texts Found(const ByteArray& image = {}) const {
        Texts found;
        for (const RomFinding& finding : CheckConfigRom(rom, image))
            if (finding.Severity != Verdict::Good)
                found.push_back(fmt::format("{} {} {}", VerdictName(finding.Severity), finding.Code,
                                            static_cast<std::int32_t>(finding.Quadlet())));
        return found;
    }
};

TEST_F(RomChecks, FindNothingInAGoodRomAndEachFaultInABadOne) {
    const struct {
        std::vector<std::pair<std::size_t, std::uint32_t>> quadlets; // changes made before the CRCs are computed
        Texts found;
        Texts more = {}; // also found with the whole image
    } rows[] = {
        {{}, {}},
        {{{0, 0x04190000}}, {}}, // a CRC of everything that follows
        {{{0, 0x04020000}}, {"note crc-part 0"}},
        {{{0, 0x04000000}}, {"note crc-none 0"}},
        {{{1, 0x31333935}}, {"fault bus-name 1"}},
        {{{3, ~0u}, {4, ~0u}, {16, ~0u}, {17, ~0u}}, {"fault no-guid 3"}},
        {{{17, 0x14050608}}, {"fault guid-differs 15"}},
        {{{6, 0x17000001}}, {"fault entry-missing 5"}},
        {{{6, 0xC3F00000}}, {"fault entry-missing 5", "fault unreadable 6"}},
        {{{8, 0}}, {"note entry-missing 5", "note key-reserved 8"}},
        {{{8, 0x22000000}}, {"note entry-missing 5", "note key-reserved 8"}},
        {{{8, 0x8C00000E}}, {"fault key-type 8", "note entry-missing 5"}},
        {{{10, 0x91000008}}, {"fault key-type 10"}, {"note unreferred 22"}},
        {{{20, 0x14000000}}, {"fault entry-missing 18"}},
        {{{7, 0x81000000}}, {"fault loop 7"}},
        {{{7, 0x81000001}}, {"fault overlap 7"}},
        {{{7, 0x81000005}}, {"fault unreadable 7", "note unreferred 11"}},
        {{{7, 0x81F00000}}, {"fault unreadable 7", "note unreferred 11"}},
        {{{21, 0x810000C0}},
         {"fault unreadable 21"},
         {"note unreferred 22"}}, // no answer, so no gap before it is known
        {{{9, 0xC2000002}}, {"fault two-kinds 7", "note unreferred 15"}},
        {{{9, 0x81000002}}, {"note unreferred 15"}}, // a shared leaf is no fault, nor is a CSR offset into the ROM
        {{{9, 0x81000002}, {8, 0x4700010F}}, {"note entry-missing 5", "note unreferred 16"}},
        {{{12, 0x01000000}}, {"note no-text 12"}},
        {{{14, 0x54E90000}}, {"note text-bytes 14"}},
        {{{13, 0x00010000}, {14, 0x54E90000}}, {}}, // another character set
        {{{22, 0x00010000}}, {"fault text-short 22"}, {"note unreferred 24"}},
        {{{25, 0}}, {}},                               // ends like the padding of an image
        {{{22, 0x00090000}}, {"fault unreadable 21"}}, // past the end
        {{{5, 0}}, {"fault unreadable 0"}},            // no root
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.quadlets));
        Words quadlets = good;
        for (const auto& [at, value] : row.quadlets)
            quadlets[at] = value;
        Seal(quadlets, {22, 18, 15, 11});
        if (quadlets[5] != 0)
            Seal(quadlets, {5});
        Seal(quadlets, {0});
        Read(quadlets);
        Texts expected = row.found;
        EXPECT_EQ(Found(), expected);
        expected.insert(expected.end(), row.more.begin(), row.more.end());
        quadlets.resize(256);
        EXPECT_EQ(Found(Quadlets(quadlets)), expected);
    }
}

TEST_F(RomChecks, DistinguishAWrongCrcFromAMissingOneAndFromSwappedBytes) {
    const Words turned = {0, 0, 0x00006154};
    const std::pair<std::uint32_t, Texts> rows[] = {{0x00030000, {"note crc-none 11"}},
                                                    {0x00030000u | Crc(turned), {"note crc-turned 11"}},
                                                    {0x00031234, {"fault crc-wrong 11"}}};
    for (const auto& [header, found] : rows) {
        Words quadlets = good;
        Seal(quadlets, {22, 18, 15, 5, 0});
        quadlets[11] = header;
        Read(quadlets);
        EXPECT_EQ(Found(), found);
        EXPECT_EQ(std::ranges::count(CheckConfigRom(rom), Verdict::Good, &RomFinding::Severity), 5);
    }
    // A bus info block CRC over more than the block, as far as that was read.
    const std::pair<std::uint32_t, Texts> headers[] = {{0x04190000u | CrcAt(good, 0), {"note crc-part 0"}},
                                                       {0x04191234, {"fault crc-wrong 0"}},
                                                       {0x04FF1234, {"note crc-undecided 0"}}};
    for (const auto& [header, found] : headers) {
        Words quadlets = good;
        Seal(quadlets, {22, 18, 15, 11, 5});
        quadlets[0] = header;
        Read(quadlets);
        EXPECT_EQ(Found(), found);
    }
    EXPECT_EQ(CheckLines(CheckConfigRom(rom))[1], "CHECKS: 0 faults, 1 note, 5 CRCs good");
}

TEST_F(RomChecks, FindNoFaultInWhatTheReaderDidNotFollow) {
    // The leaf between the root and an endless chain of directories, and the vendor, come too late.
    Words tree = {0x00030000, 0xC7000006, 0x81000002, 0x03000F1B, 0x00020000, 0, 0};
    for (int link = 0; link < 300; ++link)
        tree.insert(tree.end(), {0x00010000, 0xC7000001});
    ReadTree(tree);
    Texts found = Found();
    std::erase_if(found, [](const std::string& text) { return text.starts_with("note crc-none"); });
    EXPECT_EQ(found, (Texts{"fault crc-wrong 0", "note cut-off 7"}));
}

TEST_F(RomChecks, ReportMissingMinimalAndTruncatedRoms) {
    EXPECT_EQ(Found(), Texts{"note not-read 0"});
    Read({0x01000F1B});
    EXPECT_EQ(Found(), Texts{"note minimal 0"});
    rom = {};
    rom.RawData = {0, 0, 0, 0};
    EXPECT_EQ(Found(), Texts{"fault bus-info-short 0"});
    Read({0x02000000, 0, 0});
    EXPECT_EQ(Found(), Texts{"fault bus-info-short 0"});
}

} // namespace

#include "PlatformTest.h"
#include "basApp.h"
#include "basUtils.h"

using namespace basUtils;

namespace {

const ByteArray FOUR{0x12, 0x34, 0x56, 0x78};

} // namespace

TEST(Bytes, BecomeNumbersInTheRequestedOrder) {
    EXPECT_EQ(ByteArrayToLong(FOUR), 0x78563412);
    EXPECT_EQ(ByteArrayToLong(FOUR, 0, {}, true), 0x12345678);
    EXPECT_EQ(ByteArrayToLong({0xFF, 0xFF, 0xFF, 0xFF}), -1);
    EXPECT_EQ(ByteArrayToLong({0xFF, 0x80}, 0, 1), 0x80FF);
    EXPECT_EQ(ByteArrayToInt(FOUR, 2), 0x7856);
    EXPECT_EQ(ByteArrayToInt({0xFF, 0xFE}, 0, true), -2);
    ByteArray bytes(9, 0xAA);
    LongToByteArray(0x01020304, bytes, 0);
    LongToByteArray(0x01020304, bytes, 5, true);
    EXPECT_EQ(bytes, (ByteArray{4, 3, 2, 1, 0xAA, 1, 2, 3, 4}));
    EXPECT_EQ(LargeIntegerToDouble(0x1'FFFF'FFFF), 4294967295.0); // the low half is signed, too
}

TEST(Bytes, AreNeverReadOrWrittenOutsideTheirArray) {
    ByteArray bytes(4);
    EXPECT_EQ(FailureOf([] { ByteArrayToLong(FOUR, 0, 4); }), 30752);
    EXPECT_EQ(FailureOf([] { ByteArrayToLong(FOUR, 2, 1); }), 30752);
    EXPECT_EQ(FailureOf([] { ByteArrayToLong(FOUR, 1); }), 30753);
    EXPECT_EQ(FailureOf([] { ByteArrayToLong(FOUR, -2, 1); }), 9);
    EXPECT_EQ(FailureOf([] { ByteArrayToInt(FOUR, 3); }), 30753);
    EXPECT_EQ(FailureOf([&] { LongToByteArray(1, bytes, 1); }), 9);
    EXPECT_EQ(FailureOf([&] { CopyByteArray(FOUR, 2, 3, bytes, 0); }), 9);
    EXPECT_EQ(FailureOf([&] { CopyByteArray(FOUR, 0, 1, bytes, -1); }), 9);
    EXPECT_EQ(bytes, ByteArray(4));
}

TEST(Bytes, GrowWhenSomethingIsPutBeyondTheirEnd) {
    ByteArray bytes{9};
    CopyByteArray(FOUR, 1, 2, bytes, 2);
    EXPECT_EQ(bytes, (ByteArray{9, 0, 0x34, 0x56}));
    CopyByteArray(bytes, 0, 4, bytes, 1); // onto itself
    EXPECT_EQ(bytes, (ByteArray{9, 9, 0, 0x34, 0x56}));
    StringToBytes(bytes, 4, "A\xC3\xBC"); // u umlaut is one byte
    EXPECT_EQ(bytes, (ByteArray{9, 9, 0, 0x34, 'A', 0xFC}));
}

TEST(Texts, OfHexFollowTheirTemplateAndBecomeBytesOrAFailure) {
    EXPECT_EQ(FormatHex(255, "0x0000"), "0x00FF");
    EXPECT_EQ(FormatHex(0x12345, "000"), "345");
    EXPECT_EQ(ByteArrayToHexString({0x0A, 0xB0, 0xFF}), "0A B0 FF");
    EXPECT_EQ(ByteArrayToHexString({1, 2, 3, 4, 5}, 4), "01020304 05");
    const std::tuple<const char*, ByteArray, std::int32_t> rows[] = {{"0x12 34", {0x12, 0x34}, 0},
                                                                     {"&HaB\r\n0Xcd", {0xAB, 0xCD}, 0},
                                                                     {"", {0}, 0},
                                                                     {"0x", {0}, 0},
                                                                     {"123", {0}, 30742},
                                                                     {"12G4", {0}, 13}};
    for (const auto& [text, expected, failure] : rows) {
        ByteArray bytes{7, 7, 7};
        EXPECT_EQ(FailureOf([&] { HexString2Ascii(text, bytes); }), failure) << text;
        EXPECT_EQ(bytes, expected) << text;
    }
    ByteArray bytes;
    EXPECT_EQ(HexString2Ascii(" \r\n", bytes), -1);
}

TEST(Texts, OfADumpShowTheAddressTheBytesAndTheirCharacters) {
    const ByteArray bytes{'A', 'B', 0, 'D', 'E'};
    // The characters of a short last line reach back into the line before.
    EXPECT_EQ(FormatHexDump(0xFC, bytes, ""), "0xFC: 41 42 00 44 AB\x15"
                                              "D\r\n0x100: 45          B\x15"
                                              "DE\r\n");
    EXPECT_EQ(FormatHexDump(0, {'A'}, "<a=1>< columnwidth = 2 >"), "0x0: 41    A\r\n");
    EXPECT_EQ(FormatHexDump(0, {}, ""), "");
}

TEST(Texts, OfDatesFollowTheLettersOfTheirFormat) {
    const platform::SystemTime time{2003, 7, 0, 4, 5, 6, 9, 0};
    EXPECT_EQ(FormatSystemTime(time, "yyyy-mm-dd hh:nn:ss"), "2003-07-04 05:06:09");
    EXPECT_EQ(FormatSystemTime(time, "D.M.YY h:n:s mmm ddd"), "4.7.03 5:6:9 07 04");
    EXPECT_EQ(FormatWinDateTime(-1, "yyyy"), "Error in basUtils.FormatWinDateTime");
}

TEST(Files, GetAnUnusedNumber) {
    const TestFolder folder;
    EXPECT_EQ(NewUniqueFilename(folder.file("log.a.txt")), folder.file("log.a.001.txt"));
    std::ofstream(folder.file("log.a.001.txt"));
    EXPECT_EQ(NewUniqueFilename(folder.file("log.a.txt")), folder.file("log.a.002.txt"));
    EXPECT_EQ(NewUniqueFilename(folder.file("plain")), folder.file("plain.001."));
}

TEST(Files, AreReadWithATerminatingZeroOrUpToABoundWithProgress) {
    const TestFolder folder;
    // Length of the file, bound, result, letters and zeros in the array.
    const std::array<int, 5> rows[] = {{0, 0, -1, 0, 1},          {1, 0, -1, 1, 1},      {2, 0, 1, 2, 1},
                                       {400000, 0, 1, 400000, 1}, {400, 100, 1, 101, 0}, {101, 100, 1, 101, 0},
                                       {100, 100, 1, 100, 1}};
    for (const auto& [length, maxBytes, result, letters, zeros] : rows) {
        std::ofstream(folder.file("f")) << std::string(std::size_t(length), 'x');
        ByteArray bytes, expected(std::size_t(letters), 'x');
        expected.resize(std::size_t(letters + zeros));
        EXPECT_EQ(ReadFileBytes(folder.file("f*"), bytes, maxBytes), result) << length;
        EXPECT_TRUE(bytes == expected) << length;
    }
    ByteArray bytes{1, 2};
    EXPECT_EQ(ReadFileBytes(folder.file("none"), bytes), -1);
    EXPECT_EQ(bytes, ByteArray{0});
    std::ofstream(folder.file("f")) << std::string(20 * 131072, 'x');
    std::string shown;
    const ReadProgress progress{[&](std::int32_t maximum) { shown += fmt::format("to {}", maximum); },
                                [&](double value) { shown += fmt::format(" {}", value); },
                                [&] { shown += " repaint"; }};
    ReadFileBytes(folder.file("f"), bytes, 2 * 131072, &progress);
    EXPECT_EQ(shown, "to 20 1 2 2.0000076293945312 repaint");
}

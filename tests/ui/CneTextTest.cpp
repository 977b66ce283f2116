// CNE data as text, and what the memory viewer decides.
#include "CneText.h"
#include "HexDump.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

// "~" stands for NUL.
ByteArray Bytes(std::string text) {
    std::replace(text.begin(), text.end(), '~', '\0');
    return {text.begin(), text.end()};
}

TEST(CneText, IndentsPairsByTheirDepth) {
    const struct {
        const char *name, *cne, *text;
    } rows[] = {
        {"nothing", "", ""},
        {"outside of groups", "a~b~", "a\r\nb\r\n"},
        {"a group", "[G~k~v~]~x~", "+G\r\n  | k=v\r\nx\r\n"},
        {"a group in a group", "[G~k~v~[H~i~w~]~]~x~", "+G\r\n  | k=v\r\n  | +H=i\r\n  | | w=\r\nx\r\n"},
        {"line ends of the data count as NUL", "[G\r\nk\r\nv\r\n]\r\n", "+G\r\n  | k=v\r\n"},
        {"a lone CR or LF is a character", "a\r~b\n", "a\r\r\nb\n"},
        {"a closing bracket without an end of its own", "[G~k~v~]", "+G\r\n  | k=v\r\n  | "},
        {"every other one of a row of closing brackets", "[a~]~]~b~c~", "+a\r\n\r\nb\r\nc\r\n"},
        {"more closed than opened", "]~]~[a~b~", "\r\n+a\r\nb\r\n"},
        {"never closed", "[[a~b~c", "++a\r\n  | | b=c"},
        {"brackets inside a string", "[a]b[c~d", "+ab+c\r\n  | d"},
        {"characters of the ANSI code page", "\x80\xE9", "\xE2\x82\xAC\xC3\xA9"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(cneText::TextOf(Bytes(row.cne)), row.text) << row.name;
}

TEST(CneText, IsBoundedForHostileData) {
    const std::string cut = "\r\n*** The text is cut here: the data goes on. ***\r\n";
    const std::string deep = cneText::TextOf(Bytes(std::string(100, '[') + "~k~v~"));
    std::string bars;
    for (int i = 0; i < 64; ++i)
        bars += "| ";
    EXPECT_NE(deep.find("\r\n  " + bars + "k=v"), std::string::npos);
    const std::string million = cneText::TextOf(Bytes(std::string(1'000'000, '[') + std::string(1'000'000, '~')));
    EXPECT_TRUE(million.ends_with(cut));
    EXPECT_LT(million.size(), 4'300'000U);
    const std::string line = cneText::TextOf(ByteArray(200'000, 'x'));
    EXPECT_EQ(line.size(), 200'000U + 2 * 12); // in lines of 16,384
}

TEST(HexDump, IsSearchedForTextAndForHexBytesAlike) {
    const ByteArray bytes{'A', 'B', 0, 0xAB, 0xE9, 'A', 'B'};
    using hexDump::Range;
    const struct {
        const char* text;
        std::size_t start;
        std::optional<Range> found;
    } rows[] = {
        {"AB", 0, Range{0, 2}},       // as text
        {"AB", 1, Range{3, 4}},       // as a byte
        {"AB", 4, Range{5, 7}},       //
        {"AB", 6, Range{0, 2}},       // wrapped around
        {"0x00 ab", 0, Range{2, 4}},  //
        {"\xC3\xA9", 0, Range{4, 5}}, // one byte of the device
        {"ab", 4, Range{3, 4}},       // case-sensitive
        {"ABC", 0, std::nullopt},     // no whole bytes
        {"zz", 0, std::nullopt},      //
        {"", 0, std::nullopt},        //
    };
    for (const auto& row : rows)
        EXPECT_EQ(hexDump::Find(bytes, hexDump::SoughtBytes(row.text), row.start), row.found) << row.text;
    EXPECT_EQ(hexDump::Find({}, hexDump::SoughtBytes("A"), 5), std::nullopt);
}

} // namespace

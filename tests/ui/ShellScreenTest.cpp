// What console output does to a terminal's screen, and how its lines lie in the window.
#include "ShellScreen.h"
#include "ShellRows.h"
#include "ShellText.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace {

using namespace std::string_literals;

ByteArray Bytes(const std::string& text) {
    return {text.begin(), text.end()};
}

// "|" separates lines. A change of style shows as {foreground,background} with b for bold, u for underlined, i for
// inverse before the closing brace.
std::string Shown(const ShellScreen& screen) {
    std::string shown;
    for (std::int64_t number = screen.FirstLine(); number < screen.EndLine(); ++number) {
        ShellScreen::Style before;
        const ShellScreen::Line& line = screen.LineAt(number);
        for (std::size_t i = 0; i < line.text.size(); ++i) {
            const ShellScreen::Style style = line.StyleAt(i);
            if (style != before)
                shown += "{" + std::to_string(style.foreground) + "," + std::to_string(style.background) +
                         (style.bold ? "b" : "") + (style.underline ? "u" : "") + (style.inverse ? "i" : "") + "}";
            before = style;
            shown += line.text[i];
        }
        shown += number + 1 < screen.EndLine() ? "|" : "";
    }
    return shown;
}

TEST(ShellScreen, AppliesTheBackspacesOfABlockAsFarAsTheyGo) {
    const struct {
        std::string screen, block, shown;
    } rows[] = {
        {"", "abc", "abc"},
        {"0123", "ab\b\b\b", "012"}, // one more than the block added
        {"0123", "ab\b\b\bxy", "012xy"},
        {"01", "\b\b\b\bx", "x"}, // no further than the screen
        {"0123", "\b \b", "012"}, // how a console erases a character
        {"", "a\nb\r\nc\rd", "a|b|cd"},
        {"", "a\n\bx", "ax"},
        {"", "a\n\b\bx", "ax"},        // a line end of the block is two characters
        {"01\n", "\b\bx", "0x"},       // on the screen it is one
        {"01", "\r\b\bx", "0x"},       // what was added after the block's start is undone first
        {"01", "a\rb\b\b\b\bx", "0x"}, //
        {"01", "\0"s, "01"},           // no text
        {"", "a\0b"s, "a b"},
    };
    for (const auto& row : rows) {
        ShellScreen screen;
        screen.Write(Bytes(row.screen));
        screen.Write(Bytes(row.block));
        EXPECT_EQ(Shown(screen), row.shown) << testing::PrintToString(row.block);
    }
}

// Wherever the blocks are cut.
TEST(ShellScreen, ActsOnEscapeSequencesAndIgnoresUnknownOnes) {
    const struct {
        std::string stream, shown;
    } rows[] = {
        {"a\x1b[31mb\x1b[1;44mc\x1b[0md\x1b[me", "a{1,-1}b{1,4b}c{-1,-1}de"},
        {"\x1b[4;7mx\x1b[24my\x1b[27;97;101mz\x1b[39;49mw", "{-1,-1ui}x{-1,-1i}y{15,9}z{-1,-1}w"},
        {"\x1b[38;5;208ma\x1b[48;2;255;0;128mb", "{208,-1}a{208,199}b"},
        {"\x1b[1mab\n\x1b[22mc", "{-1,-1b}ab|c"},
        {"10 %\r\x1b[K20 %\r\x1b[K30 %\nok", "30 %|ok"}, // a line redrawn
        {"10 %\r\x1b[K20 %", "20 %"},
        {"a\x1b[3\x1b[32mb", "a{2,-1}b"},
        {"10 %\r20 %", "10 %20 %"}, // a CR alone does nothing
        {"> abc\x1b[2Dx\x1b[Cy", "> axcy"},
        {"> abc\x1b[3D\x1b[Jxy\n>", "> xy|>"},
        {"abcd\x1b[2D\b\bX\x1b[K", "X"},
        {"abcdef\x1b[4D\x1b[2P\x1b[2@..\x1b[2X", "ab..  "},
        {"ab\x1b[5Gc\x1b[1Gd", "db  c"},
        {"one\ntwo\nthree\x1b[2AX\x1b[2;2HY\x1b[1;1H\x1b[2K", "|tYo|three"},
        {"a\nb\x1b[A\x1b[2Kx\nc", " x|c"},
        {"ab\x1b"
         "7\ncd\x1b"
         "8X",
         "abX|cd"},
        {"a\nb\x1b[2J\x1b[Hnew\x1b[1;1H\x1b[Jagain", "a|b|new|again"}, // the old text stays above
        {"old\x1b[1;1H\x1b[9999;9999H\x1b[1Jx", std::string(24, '|') + std::string(79, ' ') + "x"},
        {"a\x1b]0;title\x07"
         "b\x1b]2;t\x1b\\c\x1bPq\x1b\\d",
         "abcd"},
        {"a\x1b(Bb\x1b[?25lc\x1b[6nd\x1b[4:3me\x1b=f\x1b[>0cg", "abcdefg"},
        {"a\x1b[31\nb\x1b[\x18"
         "c\x1b\x1b[32md",
         "a|bc{2,-1}d"}, // cut short by the device
        {"a\x1b[" + std::string(5000, '7') + "Cb", "a" + std::string(78, ' ') + "b"},
        {"a\x1b[" + std::string(5000, ';') + "31mb", "ab"},
        {"a\x1b]" + std::string(1024, 't') + "bc", "abc"}, // a string without an end
        {"\x80\x9b\x1b[1m\xe4", "\x80\x9b{-1,-1b}\xe4"},   // characters of the code page, not of a terminal
    };
    for (const auto& row : rows) {
        for (std::size_t cut = 0; cut < std::min<std::size_t>(row.stream.size(), 100); ++cut) {
            ShellScreen screen;
            screen.Write(Bytes(row.stream.substr(0, cut)));
            screen.Write(Bytes(row.stream.substr(cut)));
            ASSERT_EQ(Shown(screen), row.shown) << testing::PrintToString(row.stream) << " cut at " << cut;
        }
    }
}

TEST(ShellScreen, StaysConsistentWhateverADeviceSends) {
    std::mt19937 random(1);
    const std::string common = "\x1b[;0123456789ABCDEFGHJKPX@mdsufc7\r\n\b\t]\x07 ab";
    ShellScreen screen;
    screen.SetScrollBack(100);
    for (int block = 0; block < 3000; ++block) {
        ByteArray bytes;
        for (int i = 0; i < 256; ++i)
            bytes.push_back(random() % 8 == 0 ? std::uint8_t(random())
                                              : std::uint8_t(common[random() % common.size()]));
        screen.Write(bytes);
        if (block % 50 == 0)
            screen.AddMark("mark", block % 100 == 0);
        ASSERT_LE(screen.EndLine() - screen.FirstLine(), 100);
        ASSERT_GE(screen.Cursor().line, screen.FirstLine());
        ASSERT_LT(screen.Cursor().line, screen.EndLine() + 25);
        ASSERT_LE(screen.Cursor().column, ShellScreen::LONGEST_LINE);
        for (std::int64_t line = screen.FirstLine(); line < screen.EndLine(); ++line) {
            ASSERT_LE(screen.LineAt(line).styles.size(), screen.LineAt(line).text.size());
            for (const ShellScreen::Mark& mark : screen.MarksOf(line))
                ASSERT_LE(mark.place.column, screen.LineAt(line).text.size());
        }
    }
    ShellScreen longLine;
    longLine.Write(ByteArray(ShellScreen::LONGEST_LINE + 1, 'x'));
    EXPECT_EQ(longLine.EndLine(), 2);
}

TEST(ShellScreen, KeepsAMarkWhereItWasMadeAndOutOfTheText) {
    ShellScreen screen;
    screen.Write(Bytes("one\nab\x1b[31"));
    screen.AddMark("restarted", true);
    screen.Write(Bytes("mcd\b\b\b")); // the sequence isn't continued; the backspaces pass the mark
    EXPECT_EQ(screen.Text(), "one\nab");
    screen.Write(Bytes("\b"));
    screen.Write(Bytes("xyz"));
    ASSERT_EQ(screen.MarksOf(1).size(), 1U);
    EXPECT_EQ(screen.MarksOf(1)[0].place.column, 1U);
    screen.SetScrollBack(1);
    EXPECT_EQ(screen.MarksOf(1).size(), 1U);
    screen.AddMark("restarted", true);
    screen.Write(Bytes("\x1b[2J"));
    EXPECT_EQ(screen.MarksOf(2).size(), 1U); // still in view
    screen.Write(Bytes("\n"));
    EXPECT_EQ(screen.FirstLine(), 3);
    EXPECT_TRUE(screen.MarksOf(2).empty());
}

TEST(ShellRows, BreakALineAtItsWidthAndAtMarks) {
    using shellRows::Row;
    const struct {
        std::string text;
        std::vector<std::size_t> marks;
        std::vector<std::string> rows; // a mark is "#"
    } rows[] = {
        {"", {}, {""}},
        {"0123456789", {}, {"0123456789"}},
        {"0123456789ab", {}, {"0123456789", "ab"}},
        {"a\tb\tc", {}, {"a\tb", "\tc"}}, // a tab stop every 8 cells
        {"\x07"
         "0123456789\x07",
         {},
         {"\x07"
          "0123456789\x07"}},
        {"abc", {1}, {"a", "#", "bc"}},
        {"abc", {0, 0}, {"#", "#", "abc"}},
        {"abc", {3}, {"abc", "#", ""}},
    };
    for (const auto& row : rows) {
        std::vector<ShellScreen::Mark> marks;
        for (const std::size_t column : row.marks)
            marks.push_back({{0, column}, "mark"});
        std::vector<std::string> shown;
        for (const Row& part : shellRows::RowsOf(row.text, marks, 10))
            shown.push_back(part.mark != nullptr ? "#" : row.text.substr(part.begin, part.end - part.begin));
        EXPECT_EQ(shown, row.rows);
        EXPECT_EQ(shellRows::RowCount(row.text, marks, 10), row.rows.size()) << row.text;
    }
    const std::string tabbed = "ab\tc";
    EXPECT_EQ(shellRows::CellOf(tabbed, 0, 3), 8U);
    EXPECT_EQ(shellRows::CharacterAt(tabbed, {0, 4}, 7), 2U);
    EXPECT_EQ(shellRows::CharacterAt(tabbed, {0, 4}, 20), 4U);
}

TEST(ShellText, SendsEveryPastedLineEndAsTheReturnKeyDoes) {
    EXPECT_EQ(shellText::PasteText("a\nb\r\nc\rd"), "a\rb\rc\rd");
}

} // namespace

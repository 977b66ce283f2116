// What a block of console output does to the text on screen.
#include "ShellText.h"

#include <gtest/gtest.h>

#include <string>

namespace {

ByteArray Bytes(const std::string& text) {
    return {text.begin(), text.end()};
}

TEST(ShellText, OfABlockReachesBackAsFarAsItsBackspacesGo) {
    const struct {
        std::string block;
        std::size_t onScreen;
        std::size_t back;
        std::string text;
    } rows[] = {
        {"abc", 0, 0, "abc"},
        {"ab\b\b\b", 10, 1, ""},                // one further than the block itself
        {"ab\b\b\bxy", 10, 1, "xy"},            //
        {"\b\b\b", 2, 2, ""},                   // no further than the screen
        {"\b \b", 5, 1, ""},                    // how a console rubs out a character
        {"a\nb\r\nc\rd", 0, 0, "a\r\nb\r\ncd"}, // LF alone and CR LF give a line, CR alone nothing
        {"a\n\bx", 0, 0, "ax"},                 // the CR of a rubbed-out line end doesn't stay behind
        {std::string(1, '\0'), 5, 0, ""},       // nothing new
        {std::string("a\0b", 3), 0, 0, std::string("a\0b", 3)},
    };
    for (const auto& row : rows) {
        const shellText::Edit edit = shellText::EditOf(Bytes(row.block), row.onScreen);
        EXPECT_EQ(edit.back, row.back) << row.block;
        EXPECT_EQ(edit.text, Bytes(row.text)) << row.block;
    }
}

TEST(ShellText, WaitingForThePainterIsEditedLikeTextOnTheScreen) {
    shellText::Edit waiting{0, Bytes("abc")};
    shellText::Join(waiting, {2, Bytes("x\r\n")});
    EXPECT_EQ(waiting.text, Bytes("ax\n"));
    EXPECT_EQ(waiting.back, 0U);
    shellText::Join(waiting, {5, Bytes(std::string("y\0", 2))});
    EXPECT_EQ(waiting.text, Bytes("y "));
    EXPECT_EQ(waiting.back, 2U); // what it had not of its own
}

TEST(ShellText, PastedSendsEveryLineEndAsTheReturnKeyDoes) {
    EXPECT_EQ(shellText::PasteText("a\nb\r\nc\rd"), "a\rb\rc\rd");
}

} // namespace

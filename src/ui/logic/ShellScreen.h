// A terminal's screen without a window: turns console output into lines. Bounded whatever a device sends.
//
// Text is added at the end, and a backspace removes the character before it, as far back as there are any; a carriage
// return without a line feed does nothing. A line that a device edits with escape sequences (cursor, erase) behaves
// like a terminal's until the next line: there a backspace and a carriage return move the cursor, and characters
// overwrite others.
#pragma once

#include "Bytes.h"
#include "ShellEscapes.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

class ShellScreen {
public:
    static constexpr std::size_t LONGEST_LINE = 1 << 14; // characters; a longer one goes on in a new line
    static constexpr std::size_t TAB_STOP = 8;           // cells

    struct Style { // colours are xterm's 256, -1 for the window's own
        std::int16_t foreground = -1, background = -1;
        bool bold = false, underline = false, inverse = false;
        bool operator==(const Style&) const = default;
    };
    struct Line {
        std::string text;          // the device's 8-bit characters
        std::vector<Style> styles; // one per character; none for trailing characters without a style
        Style StyleAt(std::size_t column) const { return column < styles.size() ? styles[column] : Style{}; }
    };
    // Line numbers are permanent: the first line is 0, even if it is no longer kept.
    struct Place {
        std::int64_t line = 0;
        std::size_t column = 0;
        bool operator==(const Place&) const = default;
        bool operator>(const Place& other) const { return other < *this; }
        bool operator>=(const Place& other) const { return !(*this < other); }
        bool operator<(const Place& other) const { return std::tie(line, column) < std::tie(other.line, other.column); }
    };
    // A remark at a place in the output, such as a restart; not part of the text.
    struct Mark {
        Place place;
        std::string text;
    };

    // A block of a single 0 changes nothing; any other 0 is shown as a blank.
    void Write(const ByteArray& block);
    // Ends an unfinished escape sequence; with `startsOver` also the style.
    void AddMark(const std::string& text, bool startsOver);
    // The screen to which cursor addresses refer, in cells and lines.
    void SetSize(std::size_t columns, std::size_t rows);
    // Lines kept; 0 keeps every line.
    void SetScrollBack(std::size_t lines);

    std::int64_t FirstLine() const { return first_; }
    std::int64_t EndLine() const { return first_ + std::int64_t(lines_.size()); } // one after the last
    const Line& LineAt(std::int64_t number) const { return lines_[std::size_t(number - first_)]; }
    std::span<const Mark> MarksOf(std::int64_t line) const;
    Place Cursor() const { return cursor_; }
    // The first line since the device cleared the screen; the lines above are kept, but out of view.
    std::int64_t ClearedTo() const { return floor_; }
    // The first line that has changed since the last call.
    std::int64_t TakeChanged();
    std::string Text() const; // a LF between two lines

private:
    using Sequence = shellEscapes::Sequence;
    // What the current block has added, which limits its backspaces.
    struct Own {
        std::size_t characters = 0;
        bool returnIsLeft = false; // a backspace has removed the LF of a line end, the next one removes its CR
        std::int64_t position = 0, lowest = 0;
    };

    void TakeCharacter(std::uint8_t character);
    void Put(std::string_view text);
    void PutWithin(std::string_view text);
    void LineFeed();
    void Return();
    void RubOut();
    bool DropLast(); // true for a line end
    void Act(const Sequence& sequence);
    void SetStyle(const Sequence& sequence);
    std::size_t SetColour(const Sequence& sequence, std::size_t index);

    void MoveTo(std::int64_t line, std::size_t column);
    void EraseInLine(std::size_t which);
    void EraseInScreen(std::size_t which);
    void Clear();
    void Insert(std::size_t count);
    void Delete(std::size_t count);
    void Blank(std::size_t from, std::size_t to);
    void SaveCursor();
    void RestoreCursor();
    void Paint(Line& line, std::size_t from, std::size_t to) const;

    std::int64_t Top() const; // first line that cursor addresses reach
    Line& CursorLine();       // created if necessary
    Place End() const { return {EndLine() - 1, lines_.back().text.size()}; }
    void Changed(std::int64_t line) { changed_ = std::min(changed_, line); }
    void KeepMarksWithin();
    void DropOldLines();

    std::deque<Line> lines_ = std::deque<Line>(1);
    std::vector<Mark> marks_; // in the order of their places
    std::int64_t first_ = 0, floor_ = 0, changed_ = 0;
    std::size_t columns_ = 80, rows_ = 25, scrollBack_ = 0;
    shellEscapes::Parser parser_;
    Own own_;
    Place cursor_, saved_; // the saved one's line counts from Top()
    Style style_;
    bool addressed_ = false; // the cursor's line is a terminal's; otherwise the cursor is at the very end
    bool returned_ = false;  // a CR has arrived that has had no effect yet
};

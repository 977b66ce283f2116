// What escape sequences do to the screen: cursor, erasing, colours. The codes are those of ECMA-48 and xterm; other
// sequences are ignored.
#include "ShellScreen.h"

#include <algorithm>

namespace {

// The nearest colour, of parts 0 to 255, in xterm's table, whose colours 16 to 231 are a cube of six steps.
std::int16_t InCube(unsigned red, unsigned green, unsigned blue) {
    const auto step = [](unsigned part) { return (std::min(part, 255U) * 5 + 127) / 255; };
    return std::int16_t(16 + 36 * step(red) + 6 * step(green) + step(blue));
}

} // namespace

void ShellScreen::Act(const Sequence& sequence) {
    struct Edit {
        char final;
        void (*run)(ShellScreen& s, const Sequence& q);
    };
    static constexpr Edit EDITS[] = {
        {'A', [](auto& s, auto& q) { s.MoveTo(s.cursor_.line - std::int64_t(q.Number(0)), s.cursor_.column); }},
        {'B', [](auto& s, auto& q) { s.MoveTo(s.cursor_.line + std::int64_t(q.Number(0)), s.cursor_.column); }},
        {'C', [](auto& s, auto& q) { s.MoveTo(s.cursor_.line, s.cursor_.column + q.Number(0)); }},
        {'D', [](auto& s, auto& q) { s.cursor_.column -= std::min(s.cursor_.column, q.Number(0)); }},
        {'E', [](auto& s, auto& q) { s.MoveTo(s.cursor_.line + std::int64_t(q.Number(0)), 0); }},
        {'F', [](auto& s, auto& q) { s.MoveTo(s.cursor_.line - std::int64_t(q.Number(0)), 0); }},
        {'G', [](auto& s, auto& q) { s.MoveTo(s.cursor_.line, q.Number(0) - 1); }},
        {'H', [](auto& s, auto& q) { s.MoveTo(s.Top() + std::int64_t(q.Number(0)) - 1, q.Number(1) - 1); }},
        {'f', [](auto& s, auto& q) { s.MoveTo(s.Top() + std::int64_t(q.Number(0)) - 1, q.Number(1) - 1); }},
        {'d', [](auto& s, auto& q) { s.MoveTo(s.Top() + std::int64_t(q.Number(0)) - 1, s.cursor_.column); }},
        {'J', [](auto& s, auto& q) { s.EraseInScreen(q.parameters[0]); }},
        {'K', [](auto& s, auto& q) { s.EraseInLine(q.parameters[0]); }},
        {'X', [](auto& s, auto& q) { s.Blank(s.cursor_.column, s.cursor_.column + q.Number(0)); }},
        {'P', [](auto& s, auto& q) { s.Delete(q.Number(0)); }},
        {'@', [](auto& s, auto& q) { s.Insert(q.Number(0)); }},
        {'s', [](auto& s, auto&) { s.SaveCursor(); }},
        {'u', [](auto& s, auto&) { s.RestoreCursor(); }},
    };
    static constexpr Edit AFTER_ESCAPE[] = {
        {'7', [](auto& s, auto&) { s.SaveCursor(); }},
        {'8', [](auto& s, auto&) { s.RestoreCursor(); }},
        {'c', [](auto& s, auto&) { s.style_ = {}, s.Clear(), s.MoveTo(s.Top(), 0); }},
    };
    if (sequence.unusual)
        return;
    if (sequence.control && sequence.final == 'm')
        return SetStyle(sequence);
    const std::span<const Edit> edits = sequence.control ? std::span<const Edit>(EDITS) : AFTER_ESCAPE;
    const auto edit = std::find_if(edits.begin(), edits.end(),
                                   [&](const Edit& e) { return std::uint8_t(e.final) == sequence.final; });
    if (edit == edits.end())
        return;
    if (returned_ && !addressed_)
        cursor_.column = 0;
    returned_ = false;
    addressed_ = true;
    edit->run(*this, sequence);
}

std::int64_t ShellScreen::Top() const {
    return std::max({first_, floor_, EndLine() - std::int64_t(rows_)});
}

ShellScreen::Line& ShellScreen::CursorLine() {
    Changed(std::min(cursor_.line, EndLine() - 1));
    while (EndLine() <= cursor_.line)
        lines_.emplace_back();
    return lines_[std::size_t(cursor_.line - first_)];
}

// In a line that is longer than the screen is wide the cursor may stay beyond its edge.
void ShellScreen::MoveTo(std::int64_t line, std::size_t column) {
    const std::int64_t top = Top();
    cursor_.line = std::clamp(line, top, top + std::int64_t(rows_) - 1);
    cursor_.column = std::min(column, std::max(columns_ - 1, cursor_.column));
}

// By its row on the screen, which moves on over the lines.
void ShellScreen::SaveCursor() {
    saved_ = {cursor_.line - Top(), cursor_.column};
}

void ShellScreen::RestoreCursor() {
    MoveTo(Top() + saved_.line, saved_.column);
}

void ShellScreen::EraseInLine(std::size_t which) {
    Line& line = CursorLine();
    if (which == 1)
        return Blank(0, cursor_.column + 1);
    if (which > 2)
        return;
    const std::size_t kept = which == 2 ? 0 : std::min(cursor_.column, line.text.size());
    line.text.resize(kept);
    line.styles.resize(std::min(line.styles.size(), kept));
    KeepMarksWithin();
}

void ShellScreen::EraseInScreen(std::size_t which) {
    if (which == 2 || (which == 0 && cursor_ == Place{Top(), 0}))
        return Clear();
    if (which > 1)
        return;
    EraseInLine(which);
    if (which == 1)
        for (std::int64_t number = Top(); number < cursor_.line; ++number)
            lines_[std::size_t(number - first_)] = {};
    else
        lines_.resize(std::size_t(cursor_.line - first_) + 1);
    Changed(which == 1 ? Top() : cursor_.line);
    KeepMarksWithin();
}

// The old text stays above the screen, so that a device can't take back what it has printed. Marks that nothing has
// followed yet move along: a device that restarts often clears the screen first.
void ShellScreen::Clear() {
    const std::int64_t row = cursor_.line - Top();
    const Place before = End();
    Changed(EndLine() - 1);
    if (!lines_.back().text.empty())
        lines_.emplace_back();
    floor_ = EndLine() - 1;
    for (auto mark = marks_.rbegin(); mark != marks_.rend() && mark->place == before; ++mark)
        mark->place = End();
    cursor_.line = floor_ + row;
}

void ShellScreen::Blank(std::size_t from, std::size_t to) {
    Line& line = CursorLine();
    const std::size_t end = std::min(to, line.text.size());
    if (from >= end)
        return;
    line.text.replace(from, end - from, end - from, ' ');
    Paint(line, from, end);
}

void ShellScreen::Delete(std::size_t count) {
    Line& line = CursorLine();
    if (cursor_.column < line.text.size())
        line.text.erase(cursor_.column, count);
    if (cursor_.column < line.styles.size()) {
        const auto begin = line.styles.begin() + std::ptrdiff_t(cursor_.column);
        line.styles.erase(begin, begin + std::ptrdiff_t(std::min(count, line.styles.size() - cursor_.column)));
    }
}

void ShellScreen::Insert(std::size_t count) {
    Line& line = CursorLine();
    if (cursor_.column >= line.text.size())
        return;
    const std::size_t room = LONGEST_LINE - std::min(line.text.size(), LONGEST_LINE);
    const std::size_t blanks = std::min({count, columns_, room});
    line.text.insert(cursor_.column, blanks, ' ');
    if (cursor_.column < line.styles.size())
        line.styles.insert(line.styles.begin() + std::ptrdiff_t(cursor_.column), blanks, Style{});
}

// Extended colours are "38;5;number" or "38;2;red;green;blue", 48 for the background.
std::size_t ShellScreen::SetColour(const Sequence& sequence, std::size_t index) {
    const auto at = [&](std::size_t i) { return i < sequence.parameters.size() ? sequence.parameters[i] : 0U; };
    std::int16_t& colour = at(index) == 38 ? style_.foreground : style_.background;
    if (at(index + 1) == 5) {
        colour = std::int16_t(std::min(at(index + 2), 255U));
        return index + 2;
    }
    if (at(index + 1) == 2) {
        colour = InCube(at(index + 2), at(index + 3), at(index + 4));
        return index + 4;
    }
    return index;
}

void ShellScreen::SetStyle(const Sequence& sequence) {
    const std::size_t count = std::clamp<std::size_t>(sequence.count, 1, sequence.parameters.size());
    for (std::size_t i = 0; i < count; ++i) {
        const int code = sequence.parameters[i];
        const auto from = [code](int first) { return std::int16_t(code - first); };
        if (code == 0)
            style_ = {};
        else if (code == 1 || code == 22)
            style_.bold = code == 1;
        else if (code == 4 || code == 24)
            style_.underline = code == 4;
        else if (code == 7 || code == 27)
            style_.inverse = code == 7;
        else if (code == 38 || code == 48)
            i = SetColour(sequence, i);
        else if (code >= 30 && code <= 39)
            style_.foreground = code == 39 ? std::int16_t(-1) : from(30);
        else if (code >= 40 && code <= 49)
            style_.background = code == 49 ? std::int16_t(-1) : from(40);
        else if (code >= 90 && code <= 97)
            style_.foreground = std::int16_t(from(90) + 8);
        else if (code >= 100 && code <= 107)
            style_.background = std::int16_t(from(100) + 8);
    }
}

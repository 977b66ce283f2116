#include "ShellScreen.h"

#include <algorithm>

namespace {

constexpr std::uint8_t BACKSPACE = 8, TAB = 9, LINE_FEED = 10, RETURN = 13, BLANK = 32, DELETE = 127;
constexpr std::size_t MOST_MARKS = 1000;

// Printable characters from `at` on.
std::string_view PlainRun(const ByteArray& block, std::size_t at) {
    const auto begin = block.begin() + std::ptrdiff_t(at);
    const auto end = std::find_if(begin, block.end(), [](std::uint8_t c) { return c < BLANK || c == DELETE; });
    return {reinterpret_cast<const char*>(block.data()) + at, std::size_t(end - begin)};
}

struct IsBefore {
    bool operator()(const ShellScreen::Mark& mark, const ShellScreen::Place& place) const { return mark.place < place; }
    bool operator()(const ShellScreen::Place& place, const ShellScreen::Mark& mark) const { return place < mark.place; }
};

} // namespace

void ShellScreen::Write(const ByteArray& block) {
    if (block.size() == 1 && block.front() == 0)
        return;
    own_ = {};
    for (std::size_t i = 0; i < block.size();) {
        const std::string_view run = parser_.InText() ? PlainRun(block, i) : std::string_view();
        if (!run.empty()) {
            Put(run);
            i += run.size();
            continue;
        }
        const std::uint8_t byte = block[i++];
        switch (parser_.Take(byte)) {
        case shellEscapes::Parser::Found::Character:
            TakeCharacter(byte);
            break;
        case shellEscapes::Parser::Found::WholeSequence:
            Act(parser_.Last());
            break;
        default:
            break;
        }
    }
    DropOldLines();
}

void ShellScreen::TakeCharacter(std::uint8_t character) {
    const char text = char(character == 0 ? BLANK : character);
    switch (character) {
    case BACKSPACE:
        return RubOut();
    case LINE_FEED:
        return LineFeed();
    case RETURN:
        return Return();
    case TAB:
        if (addressed_)
            return MoveTo(cursor_.line, (cursor_.column / TAB_STOP + 1) * TAB_STOP);
        [[fallthrough]];
    default:
        if (!addressed_ || character == 0 || character > DELETE)
            Put({&text, 1});
    }
}

void ShellScreen::Put(std::string_view text) {
    returned_ = false;
    if (addressed_)
        return PutWithin(text);
    own_.returnIsLeft = false;
    own_.characters += text.size();
    own_.position += std::int64_t(text.size());
    while (!text.empty()) {
        if (lines_.back().text.size() >= LONGEST_LINE) {
            lines_.emplace_back();
            cursor_ = {EndLine() - 1, 0};
        }
        Line& line = lines_.back();
        const std::string_view part = text.substr(0, LONGEST_LINE - line.text.size());
        line.text += part;
        Paint(line, cursor_.column, line.text.size());
        Changed(cursor_.line);
        cursor_.column = line.text.size();
        text.remove_prefix(part.size());
    }
}

void ShellScreen::PutWithin(std::string_view text) {
    Line& line = CursorLine();
    const std::string_view part = text.substr(0, LONGEST_LINE - std::min(cursor_.column, LONGEST_LINE));
    const std::size_t end = cursor_.column + part.size();
    if (line.text.size() < end)
        line.text.resize(end, ' ');
    line.text.replace(cursor_.column, part.size(), part);
    Paint(line, cursor_.column, end);
    cursor_.column = end;
}

void ShellScreen::Paint(Line& line, std::size_t from, std::size_t to) const {
    if (style_ == Style{} && line.styles.size() <= from)
        return;
    if (line.styles.size() < to)
        line.styles.resize(to);
    std::fill(line.styles.begin() + std::ptrdiff_t(from), line.styles.begin() + std::ptrdiff_t(to), style_);
}

void ShellScreen::LineFeed() {
    returned_ = false;
    if (!addressed_) {
        Changed(cursor_.line); // another row may follow it now
        lines_.emplace_back();
        cursor_ = {EndLine() - 1, 0};
        own_.returnIsLeft = false;
        ++own_.characters, ++own_.position;
        return;
    }
    ++cursor_.line;
    cursor_.column = 0;
    addressed_ = !CursorLine().text.empty() || cursor_.line + 1 < EndLine();
    own_ = {};
}

void ShellScreen::Return() {
    if (addressed_) {
        cursor_.column = 0;
        return;
    }
    returned_ = true;
    own_.returnIsLeft = false;
    ++own_.position;
}

// A backspace removes what its own block has added. When nothing of that is left it reaches further back, but only when
// it goes further below the block's start than any before it.
void ShellScreen::RubOut() {
    if (addressed_) {
        cursor_.column -= std::min<std::size_t>(cursor_.column, 1);
        return;
    }
    --own_.position;
    if (own_.returnIsLeft) {
        own_.returnIsLeft = false;
    } else if (own_.characters > 0) {
        --own_.characters;
        own_.returnIsLeft = DropLast();
    } else if (own_.position < own_.lowest) {
        own_.lowest = own_.position;
        DropLast();
    }
}

bool ShellScreen::DropLast() {
    Line& line = lines_.back();
    const bool lineEnd = line.text.empty();
    if (!lineEnd) {
        line.text.pop_back();
        line.styles.resize(std::min(line.styles.size(), line.text.size()));
    } else if (lines_.size() > 1) {
        lines_.pop_back();
    }
    cursor_ = End();
    floor_ = std::min(floor_, cursor_.line);
    Changed(cursor_.line);
    KeepMarksWithin();
    return lineEnd;
}

void ShellScreen::AddMark(const std::string& text, bool startsOver) {
    parser_.Reset();
    if (startsOver) {
        style_ = {};
        addressed_ = false;
        cursor_ = End();
    }
    const Place place = std::min(cursor_, End());
    marks_.insert(std::upper_bound(marks_.begin(), marks_.end(), place, IsBefore{}), {place, text});
    Changed(place.line);
    if (marks_.size() > MOST_MARKS) {
        Changed(marks_.front().place.line);
        marks_.erase(marks_.begin());
    }
}

void ShellScreen::KeepMarksWithin() {
    const Place end = End();
    for (auto mark = marks_.rbegin(); mark != marks_.rend() && mark->place > end; ++mark)
        mark->place = end;
}

std::span<const ShellScreen::Mark> ShellScreen::MarksOf(std::int64_t line) const {
    const auto begin = std::lower_bound(marks_.begin(), marks_.end(), Place{line, 0}, IsBefore{});
    return {begin, std::lower_bound(begin, marks_.end(), Place{line + 1, 0}, IsBefore{})};
}

void ShellScreen::SetSize(std::size_t columns, std::size_t rows) {
    columns_ = std::max<std::size_t>(columns, 1);
    rows_ = std::max<std::size_t>(rows, 1);
}

void ShellScreen::SetScrollBack(std::size_t lines) {
    scrollBack_ = lines;
    DropOldLines();
}

void ShellScreen::DropOldLines() {
    if (scrollBack_ == 0 || lines_.size() <= scrollBack_)
        return;
    const std::size_t dropped = lines_.size() - scrollBack_;
    lines_.erase(lines_.begin(), lines_.begin() + std::ptrdiff_t(dropped));
    first_ += std::int64_t(dropped);
    floor_ = std::max(floor_, first_);
    if (cursor_.line < first_)
        cursor_ = {first_, 0};
    std::erase_if(marks_, [this](const Mark& mark) { return mark.place.line < first_; });
}

std::int64_t ShellScreen::TakeChanged() {
    const std::int64_t changed = std::max(changed_, first_);
    changed_ = EndLine();
    return changed;
}

std::string ShellScreen::Text() const {
    std::string text;
    for (const Line& line : lines_)
        text.append(text.empty() && &line == &lines_.front() ? "" : "\n").append(line.text);
    return text;
}

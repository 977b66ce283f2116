#include "ShellRows.h"

#include <algorithm>

namespace shellRows {

namespace {

bool IsControl(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte < 32 || byte == 127 || byte == 0x81 || byte == 0x8D || byte == 0x8F || byte == 0x90 || byte == 0x9D;
}

// Rows of a piece between marks; none for an empty one.
void AddRows(std::vector<Row>& rows, const std::string& text, std::size_t begin, std::size_t end, std::size_t cells) {
    std::size_t cell = 0;
    for (std::size_t i = begin; i < end; ++i) {
        const std::size_t width = std::min(CellsOf(text[i], cell), cells);
        if (cell + width > cells) {
            rows.push_back({begin, i});
            begin = i;
            cell = 0;
        }
        cell += width;
    }
    if (begin < end)
        rows.push_back({begin, end});
}

} // namespace

std::size_t CellsOf(char character, std::size_t cell) {
    if (character == '\t')
        return ShellScreen::TAB_STOP - cell % ShellScreen::TAB_STOP;
    return IsControl(character) ? 0 : 1;
}

std::size_t CellOf(const std::string& text, std::size_t begin, std::size_t index) {
    std::size_t cell = 0;
    for (std::size_t i = begin; i < std::min(index, text.size()); ++i)
        cell += CellsOf(text[i], cell);
    return cell + (index > text.size() ? index - std::max(begin, text.size()) : 0);
}

std::size_t CharacterAt(const std::string& text, const Row& row, std::size_t cell) {
    std::size_t at = 0;
    for (std::size_t i = row.begin; i < row.end; ++i) {
        at += CellsOf(text[i], at);
        if (cell < at)
            return i;
    }
    return row.end;
}

std::vector<Row> RowsOf(const std::string& text, std::span<const ShellScreen::Mark> marks, std::size_t cells) {
    std::vector<Row> rows;
    std::size_t begin = 0;
    for (const ShellScreen::Mark& mark : marks) {
        const std::size_t column = std::min(mark.place.column, text.size());
        AddRows(rows, text, begin, column, cells);
        rows.push_back({column, column, &mark});
        begin = column;
    }
    AddRows(rows, text, begin, text.size(), cells);
    if (rows.empty() || rows.back().mark != nullptr)
        rows.push_back({begin, begin}); // where the next character goes
    return rows;
}

std::size_t RowCount(const std::string& text, std::span<const ShellScreen::Mark> marks, std::size_t cells) {
    if (marks.empty() && std::none_of(text.begin(), text.end(), IsControl))
        return std::max<std::size_t>((text.size() + cells - 1) / cells, 1);
    return RowsOf(text, marks, cells).size();
}

} // namespace shellRows

// How a terminal's line is laid out in the cells of a window.
#pragma once

#include "ShellScreen.h"

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace shellRows {

// A row shows characters `begin` to before `end`, or a mark.
struct Row {
    std::size_t begin = 0, end = 0;
    const ShellScreen::Mark* mark = nullptr;
};

// Cells that a character takes when it begins in cell `cell` of its row: a tab reaches to its stop, control
// characters take none.
std::size_t CellsOf(char character, std::size_t cell);
// The cell of character `index` in a row that begins with character `begin`.
std::size_t CellOf(const std::string& text, std::size_t begin, std::size_t index);
// The character in a cell; `row.end` beyond the last one.
std::size_t CharacterAt(const std::string& text, const Row& row, std::size_t cell);

// The rows of a line in a window `cells` wide: at least one; broken at that width and at marks.
std::vector<Row> RowsOf(const std::string& text, std::span<const ShellScreen::Mark> marks, std::size_t cells);
std::size_t RowCount(const std::string& text, std::span<const ShellScreen::Mark> marks, std::size_t cells);

} // namespace shellRows

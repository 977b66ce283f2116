// Text in columns.
#pragma once

#include <string>
#include <vector>

namespace cli {

class Call;
using TableRow = std::vector<std::string>;

// A line for each row, two blanks between the columns; the last column isn't filled up. Widths count characters.
std::vector<std::string> TableLines(const std::vector<TableRow>& rows);

void PrintTable(Call& call, const std::vector<TableRow>& rows);

} // namespace cli

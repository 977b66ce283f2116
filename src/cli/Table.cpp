#include "Table.h"

#include "Call.h"

#include <algorithm>

namespace cli {

namespace {

std::size_t Characters(const std::string& text) {
    return static_cast<std::size_t>(
        std::ranges::count_if(text, [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; }));
}

} // namespace

std::vector<std::string> TableLines(const std::vector<TableRow>& rows) {
    std::vector<std::size_t> widths;
    for (const TableRow& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], Characters(row[i]));
    }
    std::vector<std::string> lines;
    for (const TableRow& row : rows) {
        std::string& line = lines.emplace_back();
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += Printable(row[i]);
            if (i + 1 < row.size())
                line.append(widths[i] - Characters(row[i]) + 2, ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
    }
    return lines;
}

void PrintTable(Call& call, const std::vector<TableRow>& rows) {
    for (const std::string& line : TableLines(rows))
        call.Print(line);
}

} // namespace cli

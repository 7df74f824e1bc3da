#include "common/Table.h"

#include <algorithm>

#include "common/Tool.h"

namespace tools {

void Table::addRow(const std::vector<std::string>& cells) {
    auto& row = rows_.emplace_back();
    for (const auto& cell : cells)
        row.push_back(cell.empty() ? "-" : escaped(cell));
}

std::string Table::text() const {
    std::vector<std::string> titles;
    std::vector<std::size_t> widths;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        titles.push_back(columns_[i].title);
        std::size_t width = displayWidth(titles[i]);
        for (const auto& row : rows_)
            width = std::max(width, displayWidth(row[i]));
        widths.push_back(width);
    }
    std::string text;
    const auto addLine = [&](const std::vector<std::string>& cells) {
        std::string line;
        for (std::size_t i = 0; i < cells.size(); ++i) {
            const std::string padding(widths[i] - displayWidth(cells[i]), ' ');
            line += i == 0 ? "" : "  ";
            line += columns_[i].align == Align::kRight ? padding + cells[i] : cells[i] + padding;
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + "\n";
    };
    addLine(titles);
    for (const auto& row : rows_)
        addLine(row);
    return text;
}

} // namespace tools

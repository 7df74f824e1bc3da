#include "common/Table.h"

#include <algorithm>
#include <string_view>

#include "common/Tool.h"

namespace tools {

namespace {

constexpr std::string_view kGap = "  ";
constexpr std::size_t kLeast = 8;        ///< columns of a text that is cut
constexpr std::size_t kAlignedMax = 200; ///< what is longer stands out, rather than make each line as long

} // namespace

void Table::addRow(const std::vector<std::string>& cells) {
    auto& row = rows_.emplace_back();
    for (const auto& cell : cells)
        row.push_back(cell.empty() ? "-" : escaped(cell));
}

/// The widths of the columns. Numbers are not cut, nor is a text to less than a few characters.
std::vector<std::size_t> Table::widths(std::size_t limit) const {
    std::vector<std::size_t> widths;
    std::size_t total = 0;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        std::size_t width = displayWidth(columns_[i].title);
        for (const auto& row : rows_)
            width = std::max(width, std::min(displayWidth(row[i]), kAlignedMax));
        widths.push_back(width);
        total += width + (i == 0 ? 0 : kGap.size());
    }
    if (limit == 0)
        return widths;
    std::size_t longest = limit;
    for (; total > limit && longest > kLeast; --longest)
        for (std::size_t i = 0; i < columns_.size() && total > limit; ++i)
            if (columns_[i].align == Align::kLeft && widths[i] > longest - 1) {
                total -= widths[i] - (longest - 1);
                widths[i] = longest - 1;
            }
    return widths;
}

std::string Table::text(std::size_t limit) const {
    const std::vector<std::size_t> widths = this->widths(limit);
    std::string text;
    const auto addLine = [&](const auto& cellAt) {
        std::string line;
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            const std::string cell = limit == 0 ? cellAt(i) : cutToWidth(cellAt(i), widths[i]);
            const std::string padding(widths[i] - std::min(displayWidth(cell), widths[i]), ' ');
            line += i == 0 ? "" : kGap;
            line += columns_[i].align == Align::kRight ? padding + cell : cell + padding;
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += (limit == 0 ? line : cutToWidth(line, limit)) + "\n";
    };
    addLine([&](std::size_t i) -> const std::string& { return columns_[i].title; });
    for (const auto& row : rows_)
        addLine([&](std::size_t i) -> const std::string& { return row[i]; });
    return text;
}

} // namespace tools

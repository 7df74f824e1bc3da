#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tools {

/// Rows of text under column titles, aligned by what a terminal shows of them. Cells are escaped, so that a row is one
/// line whatever it holds; an empty cell is "-".
class Table {
  public:
    enum class Align { kLeft, kRight };
    struct Column {
        std::string title;
        Align align = Align::kLeft;
    };

    explicit Table(std::vector<Column> columns) : columns_(std::move(columns)) {}

    /// One cell for each column.
    void addRow(const std::vector<std::string>& cells);

    /// The titles and the rows, each with a line end and, unless `width` is 0, no wider than that: texts are cut, the
    /// longest first.
    std::string text(std::size_t width = 0) const;

  private:
    std::vector<std::size_t> widths(std::size_t limit) const;

    std::vector<Column> columns_;
    std::vector<std::vector<std::string>> rows_; ///< escaped
};

} // namespace tools

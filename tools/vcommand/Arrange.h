#pragma once

#include <optional>
#include <string>
#include <vector>

#include "vcommand/Value.h"

/// A condition on a column: COLUMN, an operator, and what it is compared with.
///
///     =  !=       a number; yes or no; or a text in which * stands for any characters and ? for one, [*] [?] [[] for
///                 themselves
///     ~  !~       a text that the column's text has in it, or has not
///     < <= > >=   a number
///
/// Of a column that holds many texts one must be so, and for != and !~ none may be.
class Filter {
  public:
    /// Throws a tools::CommandError.
    Filter(const std::string& text, const std::vector<Column>& columns);
    bool passes(const Row& row) const;

  private:
    enum class Operator { kNot, kLacks, kAtMost, kAtLeast, kIs, kHas, kBelow, kAbove };
    bool matches(const std::string& text) const;

    std::size_t column_ = 0;
    Operator operator_ = Operator::kIs;
    std::string text_;
    std::int64_t number_ = 0;
};

/// Which rows of a list are shown, in which order, and what of them.
class Arrangement {
  public:
    struct Words {
        std::vector<std::string> filters;
        std::vector<std::string> sorts;       ///< COLUMN[,desc]
        std::optional<std::string> limit{};   ///< how many rows
        std::optional<std::string> columns{}; ///< COLUMN,COLUMN...
    };
    /// Throws a tools::CommandError.
    Arrangement(const Words& words, const std::vector<Column>& columns);

    bool passes(const Row& row) const;
    /// Whether so many rows, in the list's own order, are all that is shown.
    bool isEnough(std::size_t rows) const { return sorts_.empty() && limit_ && rows >= *limit_; }
    /// Sorts the rows that passed, stably, and leaves those that are shown.
    void arrange(std::vector<Row>& rows) const;
    /// Indexes of the columns that are shown; nothing: not said.
    const std::optional<std::vector<std::size_t>>& columns() const { return columns_; }

  private:
    struct Sort {
        std::size_t column;
        bool descending;
    };
    std::vector<Filter> filters_;
    std::vector<Sort> sorts_;
    std::optional<std::size_t> limit_;
    std::optional<std::vector<std::size_t>> columns_;
};

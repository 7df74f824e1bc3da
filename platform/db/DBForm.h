#pragma once

#include <cstdarg>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "db/DBValue.h"

namespace hubdb {

/// A printf-style text compiled once into parameterised SQL. Every conversion (%d, %u, %ld, %lld ..., '%s', N'%s')
/// becomes a placeholder, so no value is ever part of the SQL. Immutable; equal texts share one object.
class Form {
  public:
    enum class Conversion : std::uint8_t { kInt, kUnsigned, kLong, kLongLong, kText };

    /// The compiled form of `text`, from the process-wide cache when it was compiled before. Never null: a text that
    /// cannot be compiled gives a form whose error() tells why.
    static std::shared_ptr<const Form> of(const char* text);

    explicit Form(const char* text);

    const std::string& text() const { return text_; } ///< as it was written
    const std::string& sql() const { return sql_; }   ///< '?' for each value, a blank behind each
    const std::string& error() const { return error_; }

    /// Takes one argument per conversion. kDbOk, or kDbBadText and no use of `values`.
    int collect(std::va_list arguments, ValueList& values) const;

  private:
    std::string compile();

    std::string text_;
    std::string sql_;
    std::string error_;
    std::vector<Conversion> conversions_;
};

} // namespace hubdb

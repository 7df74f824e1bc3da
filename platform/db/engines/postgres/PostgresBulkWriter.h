#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "db/engines/postgres/PostgresConnection.h"

namespace hubdb {

/// Rows put into tables by COPY, a quarter of a megabyte at a time.
class PostgresBulkWriter : public BulkWriter {
  public:
    explicit PostgresBulkWriter(PostgresConnection& connection) : connection_(connection) {}

    int add(const OVDBRowDeclaration& table, std::uint64_t given, std::span<const Value> values) override;
    int finish() override;
    BulkFault fault() const override { return fault_; }

  private:
    /// Rows of one table that give the same columns.
    struct Batch {
        std::string data;
        std::vector<std::uint64_t> rows; ///< the number of each, among those of its table
    };
    using Kind = std::pair<const OVDBRowDeclaration*, std::uint64_t>;

    int send(const Kind& kind, Batch& batch);
    int sendAll();

    PostgresConnection& connection_;
    std::map<Kind, Batch> batches_;
    std::map<const OVDBRowDeclaration*, std::uint64_t> rows_; ///< added so far
    BulkFault fault_;
};

} // namespace hubdb

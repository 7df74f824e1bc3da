#pragma once

#include <map>
#include <string>

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
    /// The rows of a table that were not sent yet. They give the same columns.
    struct Batch {
        std::string data;
        std::uint64_t given = 0;
        std::uint64_t rows = 0;
        std::uint64_t before = 0; ///< rows of the table that were added before them
        bool behind = false;      ///< rows gave serial numbers since the numbering was moved
    };

    int send(const OVDBRowDeclaration& table, Batch& batch);
    /// Moves the numbering past the numbers that rows gave.
    int moveSerial(const OVDBRowDeclaration& table, Batch& batch);

    PostgresConnection& connection_;
    std::map<const OVDBRowDeclaration*, Batch> batches_;
    BulkFault fault_;
};

} // namespace hubdb

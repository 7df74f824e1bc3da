#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "Db/Tbl/OVDBColumn.h"
#include "PlatformExport.h"
#include "db/DBStatus.h"
#include "db/DBValue.h"
#include "db/DatabaseUrl.h"

namespace hubdb {

/// A column's value in a bulk insert; nothing means the column's default.
using BulkValue = std::optional<Value>;

/// Why a bulk insert refused a row or failed.
struct BulkError {
    int status = kDbOk;
    const OVDBColumn* column = nullptr; ///< the one at fault, null when it is the row or the database
    std::string words;
    /// When a server tells a fault only after more rows were added: the table, and the row among those added to it,
    /// from 1. Without a table it is the row that is being added, or none.
    const OVDBRowDeclaration* table = nullptr;
    std::uint64_t row = 0;
};

/// Rows of any table put into a hub database of this version, numbers that the database would give included, in one
/// write transaction: all of them are there after commit(), none of them otherwise.
///
/// Has a connection of its own and needs no connected HubDatabase. One thread uses it.
class VSDKPLATFORM_API BulkInsert {
  public:
    BulkInsert();
    ~BulkInsert();
    BulkInsert(const BulkInsert&) = delete;
    BulkInsert& operator=(const BulkInsert&) = delete;

    /// Connects and begins. 0, or a failure of DBStatus that `error` tells in one line.
    int begin(const DatabaseUrl& url, std::string& error);
    /// One row, a value for each of the table's columns; texts must live for the call. After a failure the
    /// transaction is only good for giving up.
    int insert(const OVDBRowDeclaration& table, std::span<const BulkValue> values, BulkError& error);
    int commit(BulkError& error);

  private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace hubdb

#pragma once

#include <memory>
#include <string>

#include "db/engines/postgres/PostgresConnection.h"

namespace hubdb {

/// A statement of one connection, prepared on the server when it is first executed and its types are known.
///
/// A read of any number of rows first asks for a portion and one row more. Most reads end there, in one round trip.
/// When there are more, nothing was delivered yet, and the read begins again with a cursor, whose rows come in
/// portions: between them the connection is free for other statements. Outside a transaction the cursor is one that the
/// server keeps by itself (WITH HOLD).
class PostgresStatement : public Statement {
  public:
    PostgresStatement(PostgresConnection& connection, const std::string& sql, StatementUse use);
    ~PostgresStatement() override;
    PostgresStatement(const PostgresStatement&) = delete;
    PostgresStatement& operator=(const PostgresStatement&) = delete;

    int execute(std::span<const Value> values) override;
    int next() override;
    const OVDBColumn* read(const RowTarget& target) override;
    void pack(std::string& bytes) override;
    void readText(std::string& text) override;
    std::int64_t affected() const override;
    /// An open read outside a transaction holds no lock and no snapshot.
    int detach() override { return kDbOk; }
    void finish() noexcept override;

  private:
    static constexpr int kFirstPortion = 256;

    int runPrepared(const std::string& sql);
    int runUnnamed(const std::string& sql);
    void forget();
    int openCursor();
    int fetchPortion();
    int firstRow();
    int checkTypes();
    bool cursorIsThere() const;

    PostgresConnection& connection_;
    std::string sql_;     ///< with $1, $2 ...
    std::string limited_; ///< the same for the first portion
    StatementUse use_;
    std::string name_; ///< on the server, empty before it is prepared
    unsigned generation_ = 0;
    PostgresParameters parameters_;
    PostgresResult rows_;
    int row_ = 0;
    int rowCount_ = 0;
    int columnCount_ = 0;
    std::unique_ptr<bool[]> numbers_; ///< which columns are
    std::string cursor_;
    int portion_ = kFirstPortion;
    std::uint64_t transactionNumber_ = 0; ///< when the cursor was opened
    bool heldOver_ = false;               ///< the cursor outlives its transaction
    bool large_ = false;                  ///< the last execution needed a cursor
};

} // namespace hubdb

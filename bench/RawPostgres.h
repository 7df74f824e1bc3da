#pragma once

#include <endian.h>
#include <libpq-fe.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "Columns.h"

/// What the library is measured against on PostgreSQL: libpq as one would use it by hand, with statements that were
/// prepared once, binary parameters and binary results.
///
/// It leaves out what an accessor does besides: the NULL indicators, the check that each value is of its column's type
/// and in its range, telling a text that was cut (and cutting it between characters), a limit on waiting for the
/// server, the pool, and counting. All rows come at once, however many.
class RawPostgres {
    struct Clear {
        void operator()(PGresult* result) const { PQclear(result); }
    };
    using Result = std::unique_ptr<PGresult, Clear>;

  public:
    /// A kept statement. Between execute() and close() it is on its rows.
    class Statement {
      public:
        template <class... Keys> void execute(const Keys&... keys) {
            withParameters(
                [this](int count, const char* const* values, const int* lengths, const int* formats) {
                    take(PQexecPrepared(raw_->connection_.get(), name_.c_str(), count, values, lengths, formats,
                                        kBinary));
                },
                keys...);
        }
        /// Runs a statement that gives no rows. How many rows it changed.
        template <class... Keys> std::int64_t change(const Keys&... keys) {
            Result done;
            withParameters(
                [&](int count, const char* const* values, const int* lengths, const int* formats) {
                    done = raw_->checked(PQexecPrepared(raw_->connection_.get(), name_.c_str(), count, values, lengths,
                                                        formats, kBinary));
                },
                keys...);
            return std::atoll(PQcmdTuples(done.get()));
        }
        bool next() { return ++row_ < PQntuples(rows_.get()); }
        void close() { rows_.reset(); }

        // Within a pipeline, in place of execute().
        template <class... Keys> void send(const Keys&... keys) {
            withParameters(
                [this](int count, const char* const* values, const int* lengths, const int* formats) {
                    raw_->require(PQsendQueryPrepared(raw_->connection_.get(), name_.c_str(), count, values, lengths,
                                                      formats, kBinary));
                },
                keys...);
        }
        void receive();

        void copy(int column, std::int32_t& value) const {
            std::uint32_t bytes = 0;
            copyBytes(column, bytes);
            value = static_cast<std::int32_t>(be32toh(bytes));
        }
        void copy(int column, std::int64_t& value) const {
            std::uint64_t bytes = 0;
            copyBytes(column, bytes);
            value = static_cast<std::int64_t>(be64toh(bytes));
        }
        template <class Text> void copy(int column, Text& text) const {
            copyText(text, PQgetvalue(rows_.get(), row_, column),
                     static_cast<std::size_t>(PQgetlength(rows_.get(), row_, column)));
        }
        /// Until close().
        std::string_view text(int column) const {
            return {PQgetvalue(rows_.get(), row_, column),
                    static_cast<std::size_t>(PQgetlength(rows_.get(), row_, column))};
        }

      private:
        friend class RawPostgres;
        static constexpr int kBinary = 1;

        Statement(RawPostgres& raw, std::string name) : raw_(&raw), name_(std::move(name)) {}

        template <class Bytes> static std::array<char, sizeof(Bytes)> parameterOf(Bytes bytes) {
            std::array<char, sizeof bytes> parameter;
            std::memcpy(parameter.data(), &bytes, sizeof bytes);
            return parameter;
        }
        static auto encoded(int value) { return parameterOf(htobe32(static_cast<std::uint32_t>(value))); }
        static auto encoded(std::int64_t value) { return parameterOf(htobe64(static_cast<std::uint64_t>(value))); }
        static std::string_view encoded(std::string_view text) { return text; }
        static std::vector<char> encoded(std::span<const int> values);

        template <class Run, class... Keys> static void withParameters(Run run, const Keys&... keys) {
            std::apply(
                [&run](const auto&... parameters) {
                    const char* const values[] = {parameters.data()..., nullptr};
                    const int lengths[] = {static_cast<int>(parameters.size())..., 0};
                    const int formats[] = {((void)parameters, kBinary)..., 0};
                    run(static_cast<int>(sizeof...(parameters)), values, lengths, formats);
                },
                std::tuple(encoded(keys)...));
        }
        template <class Bytes> void copyBytes(int column, Bytes& bytes) const {
            if (PQgetisnull(rows_.get(), row_, column) == 0)
                std::memcpy(&bytes, PQgetvalue(rows_.get(), row_, column), sizeof bytes);
        }
        void take(PGresult* answer) {
            rows_ = raw_->checked(answer, PGRES_TUPLES_OK);
            row_ = -1;
        }

        RawPostgres* raw_;
        std::string name_;
        Result rows_;
        int row_ = -1;
    };

    explicit RawPostgres(const std::string& url);

    Statement prepare(const std::string& sql);
    void execute(const std::string& sql);
    bool inTransaction() const { return PQtransactionStatus(connection_.get()) != PQTRANS_IDLE; }
    std::string serverVersion() const { return PQparameterStatus(connection_.get(), "server_version"); }

    /// Between the two, statements are sent together and answered together.
    void beginPipeline() { require(PQenterPipelineMode(connection_.get())); }
    void sendPipeline() { require(PQpipelineSync(connection_.get())); }
    void endPipeline();

    static constexpr const char* kBegin = "BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY";
    static constexpr const char* kJoinTexts = "string_agg";
    static constexpr const char* kCharacter = "chr";
    static std::string parameter(int number) { return "$" + std::to_string(number); }
    /// That a column has one of the numbers that are the first parameter.
    static std::string isIn(const std::string& column) { return column + " = ANY($1)"; }

  private:
    struct Finish {
        void operator()(PGconn* connection) const { PQfinish(connection); }
    };

    /// Takes the answer. Throws std::runtime_error unless it is of this kind.
    Result checked(PGresult* answer, ExecStatusType wanted = PGRES_COMMAND_OK) const;
    void require(int done) const;

    std::unique_ptr<PGconn, Finish> connection_;
    int prepared_ = 0;
};

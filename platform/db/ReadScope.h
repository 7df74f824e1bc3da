#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <iterator>
#include <memory>
#include <span>
#include <string_view>
#include <type_traits>
#include <unordered_set>
#include <vector>

#include "Db/Tbl/OVDBColumn.h"
#include "PlatformExport.h"
#include "db/ConnectionPool.h"
#include "db/DBForm.h"
#include "db/DBStatus.h"
#include "db/DBValue.h"
#include "db/EachRow.h"
#include "db/KeptRows.h"

namespace hubdb {

/// Lets a list of entities, each of which reads itself with point reads, pay for sets: while a scope is open, the same
/// point reads of its thread are answered from one read per table and chunk of elements.
///
/// The scope is told which rows its elements are (visit), or has each() or eachRow() do so, chunk by chunk. The first
/// point read of a kind, an accessor and its filter, then reads the rows of the whole chunk; later ones are answered
/// from memory. A filter takes part when it is a conjunction with "column=%d" in it, and that column is the visited
/// key, refers to it, or is what rows of the chunk refer to (OVDBColumn::refersTo). Every other read is run as it
/// stands, as are all reads within a DBtran and all writes.
///
/// What is read is what the single reads would read: the same rows in the same order; of several rows under one key
/// getOneRow's answer is the first by primary key. A scope is one read transaction from its first read on; where that
/// would block writers (SQLite without a write-ahead log) it is one for each chunk, and 200 ms at most.
///
/// A set-wise read that fails, and any failure while the transaction is open, end the scope: its transaction is rolled
/// back, and the reads that follow are single reads again. So is the one that failed, which is run again by itself
/// unless it had delivered rows. A write or a DBtran of the same thread ends the scope too.
///
///     ReadScope scope(fetchProperties);
///     scope.each(APP_InstanceName_t2::kRow, ids, [&](int id) { ... });
///
/// A local of its user; one per thread counts, those within it do nothing. Memory: the rows of one chunk.
class VSDKPLATFORM_API ReadScope {
  public:
    /// False: every read is a single read. For comparisons.
    static std::atomic<bool> enabled;

    /// One that is not `active` does nothing.
    explicit ReadScope(bool active = true);
    ~ReadScope();
    ReadScope(const ReadScope&) = delete;
    ReadScope& operator=(const ReadScope&) = delete;

    /// Elements of a chunk.
    static constexpr std::size_t kChunk = 512;

    /// Begins the read transaction now instead of with the first set-wise read, where it lasts as long as the scope.
    void begin();

    /// The elements that follow are the rows of `table` with these keys. Forgets what was read for those before.
    void visit(const OVDBRowDeclaration& table, std::span<const int> ids);
    /// The elements that follow are these rows: what they refer to is foreseen.
    void visit(const OVDBRowDeclaration& table, std::span<const char* const> rows);
    /// One of the ids visited needs only its own row: what belongs to it is not read with the others'.
    void leaveOut(int id) { leftOut_.insert(id); }
    /// Whether sets are read.
    bool isOpen() const { return open_; }

    /// Visits `ids` chunk by chunk, and calls prepare() before each chunk with its ids and use() with each id.
    template <class Ids, class Use, class Prepare>
    void each(const OVDBRowDeclaration& table, const Ids& ids, Use use, Prepare prepare) {
        std::vector<int> chunk;
        chunk.reserve(std::min<std::size_t>(ids.size(), kChunk));
        for (auto at = ids.begin(); at != ids.end();) {
            chunk.clear();
            for (; at != ids.end() && chunk.size() < kChunk; ++at)
                chunk.push_back(static_cast<int>(*at));
            if (open_ && ids.size() > 1) { // one alone is read best as it is
                visit(table, chunk);
                prepare(std::span<const int>(chunk));
            }
            for (const int id : chunk)
                use(id);
        }
    }
    template <class Ids, class Use> void each(const OVDBRowDeclaration& table, const Ids& ids, Use use) {
        each(table, ids, use, [](std::span<const int>) {});
    }

    /// As ::eachRow, having read a chunk ahead.
    template <class Accessor, class Use> int eachRow(Accessor& accessor, Use use) {
        using Row = std::remove_reference_t<decltype(*accessor.getDataPtr())>;
        if (!open_)
            return ::eachRow(accessor, use);
        int state = 0;
        int status = kDbOk;
        constexpr std::size_t kBytes = 1U << 20U;
        const std::size_t rowsMax = std::clamp<std::size_t>(kBytes / sizeof(Row), 1, kChunk);
        std::vector<Row> rows;
        std::vector<const char*> places;
        while (status == kDbOk) {
            // Nothing of the last portion keeps a transaction open while the next one is read.
            visit(accessor.declaration(), std::span<const char* const>());
            rows.clear();
            places.clear();
            while (rows.size() < rowsMax && (status = getNextRow(&accessor, &state, -1, 0)) == kDbOk)
                rows.push_back(*accessor.getDataPtr());
            for (const Row& row : rows)
                places.push_back(reinterpret_cast<const char*>(&row));
            if (rows.size() > 1 || status == kDbOk) // one alone is read best as it is
                visit(accessor.declaration(), places);
            for (Row& row : rows)
                use(row);
        }
        visit(accessor.declaration(), std::span<const char* const>());
        if (status < 0) // which came before those of the rows that were read ahead of it
            noteLast(status, accessor.getErrorStr(status));
        return status == kDbNoRow ? kDbOk : status;
    }

    /// Whether this thread's reads are within the transaction of its scope, so that they must not depend on its length.
    static bool endsReads() noexcept;
    /// A statement of this thread failed: ends the scope if its transaction is open. True when it was.
    static bool fail(const char* why) noexcept;
    /// Ends this thread's scope: something else needs the connection, or changes what was read.
    static void giveUp(const char* why) noexcept;

  private:
    friend class ::DBtable;

    /// A filter as the scope sees it.
    struct Shape;
    /// The column that values of a column are keys of.
    struct Key {
        std::string_view table;
        std::string_view column;
        bool operator==(const Key&) const = default;
    };
    /// Values of a key that reads of the chunk may ask for, ascending.
    struct Foreseen {
        Key key;
        std::vector<int> values;
        std::size_t setsSeen = 0; ///< how many sets were there when they were collected
    };
    /// The sets of one kind of read.
    struct Kind {
        const Shape* shape;
        std::size_t input;                ///< of the shape's inputs, the one that the sets are made for
        std::vector<std::int64_t> others; ///< the filter's values, of which the others hold for all sets
        std::vector<std::shared_ptr<const RowSet>> sets;
        std::vector<int> alone; ///< values within whose rows a set had to end: theirs are single reads
    };

    /// This thread's scope, null when there is none.
    static ReadScope*& current();
    static void noteLast(int status, const std::string& words);
    static Key keyOf(const OVDBRowDeclaration& table, const OVDBColumn& column);

    /// Answers a reader's read, or leaves it to the reader.
    KeptRows answer(DBtable& reader, int operation);
    const Shape* shapeOf(const DBtable& reader, int operation);
    const std::vector<int>* foreseen(const Key& key, int value);
    void collect(Foreseen& into);
    Kind* kindFor(const Shape& shape, std::size_t input, std::span<const Value> values);
    /// Reads the rows for these values, and keeps the set. Null when that failed, which closes the scope, or the rows
    /// of the first value alone are too many.
    std::shared_ptr<const RowSet> load(DBtable& reader, Kind& kind, std::vector<int> wanted);
    /// Whether the transaction has kept writers waiting long enough.
    bool blocksTooLong() const;
    /// Sees to a connection and the transaction. False closes the scope.
    bool ready();
    void forgetChunk() noexcept;
    void endTransaction() noexcept;
    void close(const char* why) noexcept;

    using Clock = std::chrono::steady_clock;

    bool open_ = false;
    bool inTransaction_ = false;
    Clock::time_point began_;
    ThreadSession session_;
    const OVDBRowDeclaration* visited_ = nullptr; ///< what the elements are rows of
    std::vector<int> visitedIds_;                 ///< their keys, ascending, or
    std::span<const char* const> visitedRows_;    ///< the rows themselves
    std::unordered_set<int> leftOut_;
    std::deque<Foreseen> foreseen_;
    std::vector<std::unique_ptr<const Shape>> shapes_;
    std::vector<std::unique_ptr<Kind>> kinds_;
    std::size_t setsLoaded_ = 0;
};

} // namespace hubdb

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <memory>
#include <string>

#include "db/HubDatabase.h"
#include "rows/AllRows.h"
#include "support/HubEngine.h"

namespace {

constexpr std::size_t kOwnedBytes = 70'000; ///< of a text without a fixed width
constexpr char kMarker = '\x5A';

template <class Input> Input anInput() {
    if constexpr (std::is_same_v<Input, int>)
        return 0;
    else
        return "";
}
template <class Descriptor, class... Inputs> void setInputs(ProcedureAccessor<Descriptor, Inputs...>& procedure) {
    procedure.setValues(anInput<Inputs>()...);
}
template <class Descriptor> void setInputs(TableAccessor<Descriptor>& /*table*/) {}

/// One test for every row: an accessor, the columns of its row as the declaration gives them, and the rows that the
/// database holds for it: one of longest texts and extreme numbers, one of NULLs, one of short texts.
template <class Accessor> class Rows : public ::testing::Test {
  protected:
    using Descriptor = typename DescriptorOf<Accessor>::Type;
    using Row = typename Descriptor::Row;
    static constexpr const OVDBRowDeclaration& kDeclared = Descriptor::kRow;
    static constexpr bool kIsTable = kDeclared.kind == OVDBObjectKind::kTable;

    struct Probe : Accessor {
        using Accessor::Accessor;
        using Accessor::typedRow;
    };

    void SetUp() override {
        std::string error;
        ASSERT_EQ(HubDatabase::connect(hub_->url(), error), 0) << error;
        if (kIsTable)
            hub_->run(std::string("DELETE FROM ") + kDeclared.object);
    }
    void TearDown() override {
        HubDatabase::disconnect();
        DBtable::b_newDBBase = false;
    }

    static bool owns(const OVDBColumn& column) { return !column.isInteger() && !column.isFixedText(); }
    // Not inlined: a compiler that knew the row would warn of the columns that it has not.
    [[gnu::noinline]] static char* member(Row& row, const OVDBColumn& column) {
        return reinterpret_cast<char*>(&row) + column.offset;
    }
    [[gnu::noinline]] static OVDBText& owned(Row& row, const OVDBColumn& column) {
        return *reinterpret_cast<OVDBText*>(member(row, column));
    }

    /// The longest text of a column, another one for every column, a character of several bytes at its end.
    static std::string longest(std::size_t index, const OVDBColumn& column) {
        const std::string end = "\xF0\x9F\x97\x84";
        std::string text = std::to_string(index) + ":";
        text.resize((owns(column) ? kOwnedBytes : column.size - 1) - end.size(), static_cast<char>('a' + index % 26));
        return text + end;
    }
    static std::int64_t extreme(std::size_t index, const OVDBColumn& column) {
        const auto step = static_cast<std::int64_t>(index);
        if (column.kind == OVDBColumnKind::kInt)
            return index % 2 == 0 ? std::numeric_limits<std::int32_t>::min() + step
                                  : std::numeric_limits<std::int32_t>::max() - step;
        return index % 2 == 0 ? std::numeric_limits<std::int64_t>::min() + step
                              : std::numeric_limits<std::int64_t>::max() - step;
    }

    static Row longRow() {
        Row row{};
        for (std::size_t i = 0; const auto& column : kDeclared.columns) {
            if (!column.isInteger())
                setText(row, column, longest(i, column));
            else
                setNumber(row, column, extreme(i, column));
            ++i;
        }
        return row;
    }
    static Row shortRow() {
        Row row{};
        for (const auto& column : kDeclared.columns)
            if (!column.isInteger())
                setText(row, column, "\xC3\xA9");
            else
                setNumber(row, column, column.inKey ? 8 : 1);
        return row;
    }
    static void setText(Row& row, const OVDBColumn& column, const std::string& text) {
        if (owns(column))
            owned(row, column) = {text, false};
        else
            dbSetText(member(row, column), column.size, text);
    }
    static void setNumber(Row& row, const OVDBColumn& column, std::int64_t number) {
        const auto narrow = static_cast<std::int32_t>(number);
        if (column.kind == OVDBColumnKind::kInt)
            std::memcpy(member(row, column), &narrow, sizeof narrow);
        else
            std::memcpy(member(row, column), &number, sizeof number);
    }
    static std::int64_t number(Row& row, const OVDBColumn& column) {
        std::int32_t narrow = 0;
        std::int64_t wide = 0;
        std::memcpy(column.kind == OVDBColumnKind::kInt ? static_cast<void*>(&narrow) : &wide, member(row, column),
                    column.size);
        return column.kind == OVDBColumnKind::kInt ? narrow : wide;
    }
    static std::string text(Row& row, const OVDBColumn& column) {
        return owns(column) ? owned(row, column).bytes
                            : std::string(member(row, column), strnlen(member(row, column), column.size));
    }

    /// A row as SQL literals.
    static std::string literals(Row row) {
        std::string list;
        for (const auto& column : kDeclared.columns)
            (list += list.empty() ? "" : ", ") +=
                column.isInteger() ? std::to_string(number(row, column)) : "'" + text(row, column) + "'";
        return list;
    }
    static std::string keyNames() {
        std::string names = kDeclared.keys[0]->name;
        return kDeclared.keys[1] == nullptr ? names : names + ", " + kDeclared.keys[1]->name;
    }

    /// Puts the three rows into the database, in the order in which they are read.
    void store() const {
        if (kIsTable) {
            const std::string insert = std::string("INSERT INTO ") + kDeclared.object + " (";
            hub_->run(insert + kDeclared.columnList + ") VALUES (" + literals(longRow()) + ")");
            hub_->run(insert + keyNames() + ") VALUES (7" + (kDeclared.keys[1] == nullptr ? "" : ", 7") + ")");
            hub_->run(insert + kDeclared.columnList + ") VALUES (" + literals(shortRow()) + ")");
            return;
        }
        std::string nulls;
        for (std::size_t i = 0; i < kDeclared.columns.size(); ++i)
            nulls += i == 0 ? "NULL" : ", NULL";
        const bool hasColumns = !kDeclared.columns.empty();
        hub_->define(kDeclared.object, "SELECT " + (hasColumns ? literals(longRow()) : "1") + " UNION ALL SELECT " +
                                           (hasColumns ? nulls : "2") + " UNION ALL SELECT " +
                                           (hasColumns ? literals(shortRow()) : "3"));
    }

    bool storedAsNull(const OVDBColumn& column) const {
        return !kIsTable || hub_->ask(std::string("SELECT count(*) FROM ") + kDeclared.object + " WHERE " +
                                      column.name + " IS NULL AND " + kDeclared.columns[0].name + " = 7") == "1";
    }

    static void expectEqual(Row& row, Row expected, const OVDBColumn& column) {
        if (owns(column)) {
            EXPECT_TRUE(owned(row, column).bytes == owned(expected, column).bytes) << column.name;
            EXPECT_FALSE(owned(row, column).isNull) << column.name;
        } else {
            EXPECT_EQ(std::memcmp(member(row, column), member(expected, column), column.size), 0) << column.name;
        }
    }

    static void expectTyped(Probe& accessor) {
        auto* const typed = accessor.typedRow();
        ASSERT_EQ(typed != nullptr, DBtable::b_newDBBase.load());
        if (typed == nullptr)
            return;
        for (std::size_t i = 0; const auto& column : kDeclared.columns) {
            const auto* value = typed->getData()[i];
            EXPECT_EQ(value->null, accessor.getIndicator(i) == -1) << column.name;
            EXPECT_EQ(value->updated, kNotUpdated) << column.name;
            ++i;
            if (value->null)
                continue;
            value->setString();
            Row& row = *accessor.getDataPtr();
            EXPECT_TRUE(value->getStr() ==
                        (column.isInteger() ? std::to_string(number(row, column)) : text(row, column)))
                << column.name;
        }
    }

    std::unique_ptr<support::HubEngine> hub_ = support::makeSqliteHub();
};

TYPED_TEST_SUITE(Rows, AllAccessors, AccessorNames);

TYPED_TEST(Rows, ArriveByteForByteAndNothingOfAnEarlierRowShowsThrough) {
    this->store();
    for (const bool typed : {false, true}) {
        SCOPED_TRACE(typed ? "typed" : "printf");
        DBtable::b_newDBBase = typed;
        typename TestFixture::Probe accessor;
        setInputs(accessor);
        auto& row = *accessor.getDataPtr();
        for (const auto& column : this->kDeclared.columns)
            if (!this->owns(column))
                std::memset(this->member(row, column), kMarker, column.size);
        int state = 0;
        ASSERT_EQ(getNextRow(&accessor, &state, -1, 0), 0) << accessor.getErrorStr(-1);
        for (const auto& column : this->kDeclared.columns)
            this->expectEqual(row, this->longRow(), column);
        this->expectTyped(accessor);

        ASSERT_EQ(getNextRow(&accessor, &state, -1, 0), 0);
        for (std::size_t i = 0; const auto& column : this->kDeclared.columns) {
            const bool null = this->storedAsNull(column);
            EXPECT_EQ(accessor.getIndicator(i++), null ? -1 : 0) << column.name;
            if (!null)
                continue;
            if (this->owns(column))
                EXPECT_TRUE(this->owned(row, column).isNull && this->owned(row, column).bytes.empty()) << column.name;
            else
                EXPECT_EQ(std::string(this->member(row, column), column.size), std::string(column.size, '\0'))
                    << column.name;
        }
        this->expectTyped(accessor);

        ASSERT_EQ(getNextRow(&accessor, &state, -1, 0), 0);
        for (const auto& column : this->kDeclared.columns)
            this->expectEqual(row, this->shortRow(), column);
        this->expectTyped(accessor);
        EXPECT_EQ(getNextRow(&accessor, &state, -1, 0), 100);
    }
}

template <class Accessor> class TableRows : public Rows<Accessor> {};
TYPED_TEST_SUITE(TableRows, TableAccessors, AccessorNames);

TYPED_TEST(TableRows, AreInsertedWholeAndFoundByTheirKey) {
    for (const bool typed : {false, true}) {
        SCOPED_TRACE(typed ? "typed" : "printf");
        DBtable::b_newDBBase = typed;
        const auto* const serial = this->kDeclared.serial();
        auto sent = this->longRow();
        TypeParam writer;
        *writer.getDataPtr() = sent;
        ASSERT_EQ(writer.rowInsert(true), 0) << writer.getErrorStr(-5);
        if (serial != nullptr) {
            const auto given = this->number(*writer.getDataPtr(), *serial);
            EXPECT_GT(given, 0) << "the database's number, not the caller's";
            this->setNumber(sent, *serial, given);
        }
        typename TestFixture::Probe reader;
        ASSERT_EQ(getOneRow(&reader, false, -1, 0), 0);
        for (const auto& column : this->kDeclared.columns)
            if (!column.givenByDatabase || column.isSerial)
                this->expectEqual(*reader.getDataPtr(), sent, column);
            else
                EXPECT_NE(this->text(*reader.getDataPtr(), column), this->text(sent, column)) << column.name;
        this->expectTyped(reader);
        ASSERT_EQ(reader.rowDelete(), 0);
        EXPECT_EQ(this->hub_->ask(std::string("SELECT count(*) FROM ") + this->kDeclared.object), "0");
    }
}

TYPED_TEST(TableRows, NullsThatWereReadAreInsertedAsNulls) {
    this->store();
    const std::string key = this->kDeclared.columns[0].name;
    TypeParam accessor;
    int state = 0;
    ASSERT_EQ(getNextRow(&accessor, &state, -1, 0), 0);
    ASSERT_EQ(getNextRow(&accessor, &state, -1, 0), 0);
    std::string nulls = "0";
    for (const auto& column : this->kDeclared.columns)
        nulls += std::string(" || (") + column.name + " IS NULL)";
    const std::string count = "SELECT " + nulls + " FROM " + this->kDeclared.object + " WHERE " + key + " = ";
    const std::string before = this->hub_->ask(count + "7");
    ASSERT_EQ(accessor.rowDelete(), 0) << "or what is unique would stand twice";
    ASSERT_EQ(accessor.rowInsert(true), 0) << accessor.getErrorStr(-5);
    const auto now = this->number(*accessor.getDataPtr(), this->kDeclared.columns[0]);
    EXPECT_EQ(this->hub_->ask(count + std::to_string(now)), before);
}

TYPED_TEST(TableRows, ATextThatDoesNotArriveWholeIsRefusedAndNothingIsStored) {
    for (const auto& column : this->kDeclared.columns) {
        if (column.isInteger() || column.givenByDatabase)
            continue;
        const std::size_t fits = this->owns(column) ? 10 : column.size - 1;
        std::vector<std::string> texts{"\x80", "cut\xC3", "\xED\xA0\x80", std::string("a\0b", 3)};
        if (column.isFixedText())
            texts.push_back(std::string(fits + 1, 'x'));
        for (const auto& bad : texts) {
            TypeParam writer;
            this->setText(*writer.getDataPtr(), column, bad);
            EXPECT_EQ(writer.rowInsert(true), kDbBadText) << column.name;
            EXPECT_NE(writer.getErrorStr(kDbBadText).find(column.name), std::string::npos);
        }
        if (!column.isFixedText())
            continue;
        TypeParam writer; // a caller that writes into the buffer itself and leaves no terminator
        std::memset(this->member(*writer.getDataPtr(), column), 'x', column.size);
        EXPECT_EQ(writer.rowInsert(true), kDbBadText) << column.name;
    }
    EXPECT_EQ(this->hub_->ask(std::string("SELECT count(*) FROM ") + this->kDeclared.object), "0");
}

} // namespace

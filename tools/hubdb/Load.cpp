#include "hubdb/Load.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <string_view>
#include <vector>

#include "Db/Tbl/HubTables.h"
#include "common/Database.h"
#include "db/BulkInsert.h"
#include "hubdb/Progress.h"

namespace {

using hubdb::Value;

const OVDBRowDeclaration* findTable(std::string_view name) {
    const auto found = std::ranges::find_if(kHubTables, [&](const auto* table) { return name == table->object; });
    return found == kHubTables.end() ? nullptr : *found;
}

/// Takes the events of the JSON parser, makes rows of them and inserts each as soon as it is whole.
class EstateReader {
  public:
    EstateReader(hubdb::BulkInsert& insert, const std::string& file, std::ifstream& stream, std::uint64_t bytes)
        : insert_(insert), file_(file), stream_(stream), bytes_(bytes) {}

    std::uint64_t rows() const { return rows_; }
    std::size_t tables() const { return tablesSeen_.size(); }

    // The names and results of what follows are the parser's: true goes on.
    // NOLINTBEGIN(readability-identifier-naming)
    bool null() { return take(Value::null()); }
    bool boolean(bool /*value*/) { refuse("true and false are no values of columns: write 1 and 0"); }
    bool number_integer(std::int64_t value) { return take(Value::int64(value)); }
    bool number_unsigned(std::uint64_t value) {
        if (value > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
            refuse(std::to_string(value) + " does not fit 64 bits");
        return take(Value::int64(static_cast<std::int64_t>(value)));
    }
    bool number_float(double /*value*/, const std::string& text) { refuse(text + " is not a whole number"); }
    bool string(std::string& value) {
        if (level_ != Level::kRow)
            refuse("a text does not belong here");
        texts_[column_].swap(value);
        return take(Value::ofText(texts_[column_]));
    }
    bool binary(const std::vector<std::uint8_t>& /*value*/) { refuse("binary values are no values of columns"); }

    bool start_object(std::size_t /*members*/) {
        switch (level_) {
        case Level::kDocument:
            level_ = Level::kRoot;
            break;
        case Level::kRoot:
            level_ = Level::kTables;
            break;
        case Level::kRows:
            level_ = Level::kRow;
            values_.assign(table_->columns.size(), std::nullopt);
            column_ = kNoColumn;
            break;
        case Level::kTables:
        case Level::kRow:
            refuse("an object does not belong here");
        }
        return true;
    }
    bool key(std::string& name) {
        if (level_ == Level::kRow)
            enterColumn(name);
        else if (level_ == Level::kTables)
            enterTable(name);
        else
            enterRoot(name);
        return true;
    }
    bool end_object() {
        switch (level_) {
        case Level::kRow:
            endRow();
            level_ = Level::kRows;
            break;
        case Level::kTables:
            table_ = nullptr;
            level_ = Level::kRoot;
            break;
        default:
            if (!tablesGiven_)
                refuse("the member \"tables\" is missing");
            level_ = Level::kDocument;
        }
        return true;
    }
    bool start_array(std::size_t /*elements*/) {
        if (level_ != Level::kTables)
            refuse("an array does not belong here");
        level_ = Level::kRows;
        row_ = 0;
        column_ = kNoColumn;
        return true;
    }
    bool end_array() {
        level_ = Level::kTables;
        return true;
    }
    template <class Exception>
    bool parse_error(std::size_t /*position*/, const std::string& /*token*/, const Exception& error) {
        constexpr std::size_t kLongest = 300; // the words repeat what was read last, which may be long
        const std::string_view words = error.what();
        const std::size_t named = words.find("] ");
        refuseFile(std::string(words.substr(named == std::string_view::npos ? 0 : named + 2).substr(0, kLongest)));
    }
    // NOLINTEND(readability-identifier-naming)

    void commit() {
        hubdb::BulkError error;
        if (insert_.commit(error) != kDbOk)
            refuseRow(error);
    }

  private:
    enum class Level { kDocument, kRoot, kTables, kRows, kRow };
    static constexpr std::size_t kNoColumn = std::numeric_limits<std::size_t>::max();

    std::string place() const {
        if (table_ == nullptr)
            return "";
        std::string text = table_->object;
        if (level_ == Level::kRows || level_ == Level::kRow)
            text += "[" + std::to_string(row_) + "]";
        if (level_ == Level::kRow && column_ != kNoColumn)
            text += std::string(".") + table_->columns[column_].name;
        return text + ": ";
    }
    [[noreturn]] void refuse(const std::string& reason) const { refuseFile(place() + reason); }
    [[noreturn]] void refuseFile(const std::string& words) const {
        throw tools::CommandError(tools::kExitRefused, file_ + ": " + words);
    }

    void enterRoot(const std::string& name) {
        if (name != "tables")
            refuse("\"" + name + "\" is not a member of an estate");
        if (tablesGiven_)
            refuse("\"tables\" is given twice");
        tablesGiven_ = true;
    }
    void enterTable(const std::string& name) {
        table_ = findTable(name);
        if (table_ == nullptr)
            refuse("\"" + name + "\" is not a table of the hub database");
        if (table_ == &HubSchema_t2::kRow)
            refuse("the table is the database's own");
        if (!tablesSeen_.insert(table_).second)
            refuse("the table is given twice");
        texts_.resize(std::max(texts_.size(), table_->columns.size()));
    }
    void enterColumn(const std::string& name) {
        column_ = kNoColumn;
        for (std::size_t i = 0; i < table_->columns.size(); ++i)
            if (name == table_->columns[i].name)
                column_ = i;
        if (column_ == kNoColumn)
            refuse("\"" + name + "\" is not a column of the table");
        if (values_[column_].has_value())
            refuse("the column is given twice");
    }
    bool take(const Value& value) {
        if (level_ != Level::kRow)
            refuse("a value does not belong here");
        values_[column_] = value;
        return true;
    }
    void endRow() {
        column_ = kNoColumn;
        hubdb::BulkError error;
        if (insert_.insert(*table_, values_, error) != kDbOk)
            refuseRow(error);
        ++row_;
        ++rows_;
        constexpr std::uint64_t kRowsBetween = 1024;
        if (rows_ % kRowsBetween == 0)
            progress_.show(static_cast<std::uint64_t>(std::max<std::streamoff>(stream_.tellg(), 0)), bytes_, rows_);
    }
    [[noreturn]] void refuseRow(const hubdb::BulkError& error) {
        if (error.table != nullptr) { // told only now
            table_ = error.table;
            row_ = error.row - 1;
            column_ = kNoColumn;
            level_ = Level::kRow;
        }
        if (error.column != nullptr)
            column_ = static_cast<std::size_t>(error.column - table_->columns.data());
        if (error.status == kDbBadValue || error.status == kDbBadText || error.status == kDbConstraint)
            refuse(error.words);
        throw tools::CommandError(tools::kExitFailed, file_ + ": " + place() + error.words + " (database status " +
                                                          std::to_string(error.status) + ")");
    }

    hubdb::BulkInsert& insert_;
    const std::string& file_;
    std::ifstream& stream_;
    std::uint64_t bytes_;
    Progress progress_{"loading"};

    Level level_ = Level::kDocument;
    bool tablesGiven_ = false;
    const OVDBRowDeclaration* table_ = nullptr;
    std::set<const OVDBRowDeclaration*> tablesSeen_;
    std::size_t column_ = kNoColumn;
    std::uint64_t row_ = 0; ///< of the table
    std::uint64_t rows_ = 0;
    std::vector<hubdb::BulkValue> values_;
    std::vector<std::string> texts_; ///< of the current row, by column
};

std::uint64_t requireFile(const std::string& file) {
    struct stat about {};
    if (stat(file.c_str(), &about) != 0)
        throw tools::CommandError(errno == ENOENT ? tools::kExitNotFound : tools::kExitFailed,
                                  tools::shown(file) + ": " + std::strerror(errno));
    if (S_ISDIR(about.st_mode))
        throw tools::CommandError(tools::kExitFailed, file + ": is a directory");
    return static_cast<std::uint64_t>(about.st_size);
}

} // namespace

Answer loadEstate(const hubdb::DatabaseUrl& url, const std::string& file) {
    tools::requireDatabase(url);
    const std::uint64_t bytes = requireFile(file);
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        throw tools::CommandError(tools::kExitFailed, file + ": " + std::strerror(errno));

    hubdb::BulkInsert insert;
    std::string error;
    if (insert.begin(url, error) != kDbOk)
        throw tools::CommandError(tools::kExitFailed, error);
    EstateReader reader(insert, file, stream, bytes);
    try {
        nlohmann::json::sax_parse(stream, &reader);
    } catch (const std::ios_base::failure& failure) {
        throw tools::CommandError(tools::kExitFailed, file + ": cannot be read: " + failure.what());
    }
    reader.commit();
    return {"loaded " + std::to_string(reader.rows()) + " rows into " + std::to_string(reader.tables()) + " tables\n"};
}

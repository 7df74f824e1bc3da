#include "support/HubEngine.h"

#include <sqlite3.h>

#include <filesystem>
#include <stdexcept>

#include "Db/Tbl/HubTables.h"
#include "db/HubSchema.h"
#include "db/engines/sqlite/EmbeddedProcedures.h"
#include "support/TempDatabase.h"

namespace support {

namespace {

class SqliteHub : public HubEngine {
  public:
    explicit SqliteHub(bool wal) : wal_(wal) {
        hubdb::DatabaseUrl where;
        std::string wrong;
        hubdb::DatabaseUrl::parse("sqlite:" + path_, where, wrong);
        std::string error;
        if (hubdb::createSchema(where, kHubObjects, error) != kDbOk)
            throw std::runtime_error(error);
    }

    std::string url(const std::string& options) const override {
        return "sqlite:" + path_ + (wal_ ? "?journal=wal&" : "?") + options;
    }

    void run(const std::string& sql) const override { execute(*open(), sql, nullptr); }

    std::string ask(const std::string& sql) const override {
        std::string answer;
        execute(*open(), sql, &answer);
        return answer;
    }

    void clear() const override {
        for (const char* file : {"", "-journal", "-wal", "-shm", ".key"})
            std::filesystem::remove(path_ + file);
    }

    std::shared_ptr<void> lock() const override {
        auto holder = open();
        execute(*holder, "BEGIN EXCLUSIVE", nullptr);
        return holder;
    }

    Traits traits() const override { return {!wal_, true, !wal_, false}; }

    void define(const std::string& name, const std::string& query) const override {
        hubdb::EmbeddedProcedures::add(name, query);
    }

    std::string endless() const override {
        return "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) SELECT max(i), 0 FROM n";
    }

    std::string failing() const override { return "abs(version - version - 9223372036854775807 - 1)"; } // no integer

  private:
    std::shared_ptr<sqlite3> open() const {
        sqlite3* opened = nullptr;
        const int code = sqlite3_open(path_.c_str(), &opened);
        std::shared_ptr<sqlite3> database(opened, &sqlite3_close);
        if (code != SQLITE_OK)
            throw std::runtime_error(sqlite3_errmsg(opened));
        sqlite3_busy_timeout(opened, 5000);
        return database;
    }

    static void execute(sqlite3& database, const std::string& sql, std::string* answer) {
        const auto keep = [](void* out, int columns, char** values, char**) {
            if (out != nullptr) {
                auto& text = *static_cast<std::string*>(out);
                for (int i = 0; i < columns; ++i)
                    (text += i > 0 ? "|" : text.empty() ? "" : " ") += values[i] == nullptr ? "NULL" : values[i];
            }
            return 0;
        };
        if (sqlite3_exec(&database, sql.c_str(), keep, answer, nullptr) != SQLITE_OK)
            throw std::runtime_error(sqlite3_errmsg(&database) + (": " + sql));
    }

    bool wal_;
    TempDirectory directory_;
    std::string path_ = directory_.file("hub.db");
};

} // namespace

std::unique_ptr<HubEngine> makeSqliteHub() {
    return std::make_unique<SqliteHub>(false);
}

std::unique_ptr<HubEngine> makeSqliteWalHub() {
    return std::make_unique<SqliteHub>(true);
}

} // namespace support

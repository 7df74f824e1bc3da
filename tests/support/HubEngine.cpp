#include "support/HubEngine.h"

#include <sqlite3.h>

#include <filesystem>
#include <stdexcept>

#include "Db/Tbl/HubTables.h"
#include "db/HubSchema.h"
#include "db/engines/sqlite/EmbeddedProcedures.h"
#include "support/TempDirectory.h"

namespace support {

namespace {

std::shared_ptr<sqlite3> opened(const std::string& path) {
    sqlite3* handle = nullptr;
    const int code = sqlite3_open(path.c_str(), &handle);
    std::shared_ptr<sqlite3> database(handle, &sqlite3_close);
    if (code != SQLITE_OK)
        throw std::runtime_error(sqlite3_errmsg(handle));
    sqlite3_busy_timeout(handle, 5000);
    return database;
}

std::string execute(sqlite3& database, const std::string& sql) {
    std::string answer;
    const auto keep = [](void* out, int columns, char** values, char**) {
        auto& text = *static_cast<std::string*>(out);
        for (int i = 0; i < columns; ++i)
            (text += i > 0 ? "|" : text.empty() ? "" : " ") += values[i] == nullptr ? "NULL" : values[i];
        return 0;
    };
    if (sqlite3_exec(&database, sql.c_str(), keep, &answer, nullptr) != SQLITE_OK)
        throw std::runtime_error(sqlite3_errmsg(&database) + (": " + sql));
    return answer;
}

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

    void run(const std::string& sql) const override { ask(sql); }

    std::string ask(const std::string& sql) const override { return askSqlite(path_, sql); }

    void clear() const override {
        for (const char* file : {"", "-journal", "-wal", "-shm", ".key"})
            std::filesystem::remove(path_ + file);
    }

    std::shared_ptr<void> lock() const override {
        auto holder = opened(path_);
        execute(*holder, "BEGIN EXCLUSIVE");
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
    bool wal_;
    TempDirectory directory_;
    std::string path_ = directory_.file("hub.db");
};

} // namespace

std::string askSqlite(const std::string& path, const std::string& sql) {
    return execute(*opened(path), sql);
}

std::unique_ptr<HubEngine> makeSqliteHub() {
    return std::make_unique<SqliteHub>(false);
}

std::unique_ptr<HubEngine> makeSqliteWalHub() {
    return std::make_unique<SqliteHub>(true);
}

} // namespace support

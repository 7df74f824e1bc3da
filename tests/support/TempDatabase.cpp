#include "support/TempDatabase.h"

#include <sqlite3.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>

#include "Db/Tbl/HubSchema.h"
#include "schema/SchemaVersion.h"

namespace support {

namespace {

std::string createTable(const OVDBRowDeclaration& table) {
    std::string columns;
    for (const auto& column : table.columns)
        columns += std::string(column.name) + (column.isInteger() ? " INTEGER, " : " TEXT, ");
    std::string keys;
    for (const auto* key : table.keys)
        if (key != nullptr)
            keys += (keys.empty() ? "" : ", ") + std::string(key->name);
    return std::string("CREATE TABLE ") + table.object + " (" + columns + "PRIMARY KEY (" + keys + "));";
}

} // namespace

TempDirectory::TempDirectory() : path_((std::filesystem::temp_directory_path() / "vsdkdb-test-XXXXXX").string()) {
    if (mkdtemp(path_.data()) == nullptr)
        throw std::runtime_error("no temporary directory " + path_);
}

TempDirectory::~TempDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

TempDatabase::TempDatabase(std::initializer_list<const OVDBRowDeclaration*> tables) {
    std::string sql = createTable(HubSchema_t2::kRow) + "INSERT INTO HubSchema VALUES (" +
                      std::to_string(hubdb::kSchemaVersion) + ", 0);";
    for (const auto* table : tables)
        sql += createTable(*table);
    run(sql);
}

void TempDatabase::run(const std::string& sql) const {
    sqlite3* opened = nullptr;
    const int code = sqlite3_open(path_.c_str(), &opened);
    const std::unique_ptr<sqlite3, int (*)(sqlite3*)> database(opened, &sqlite3_close);
    if (code != SQLITE_OK || sqlite3_exec(opened, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
        throw std::runtime_error(sqlite3_errmsg(opened) + (": " + sql));
}

} // namespace support

#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "Db/Tbl/OVDBColumn.h"
#include "PlatformExport.h"
#include "db/DBStatus.h"
#include "db/DatabaseUrl.h"

namespace hubdb {

/// Making, checking and upgrading the tables of a hub database. Every function opens a connection of its own, needs no
/// connected HubDatabase, and may be used by any thread. They return 0 or a failure of DBStatus, which `error` tells in
/// one line that names the database.

using DeclarationList = std::span<const OVDBRowDeclaration* const>;

/// What a hub database is made of.
struct SchemaObjects {
    DeclarationList tables;
    DeclarationList procedures; ///< and cursor queries: functions, where the engine has such
};

/// Makes the database's tables, indexes and functions in one transaction, and the file when it is one and there is
/// none. A database that holds tables already is refused; of several that create it at once one succeeds. On failure
/// nothing stays behind, not even the file. A server's URL may name the application's role (app_role), which is then
/// granted what it needs: rows of the tables, and the functions, which nobody else may call.
VSDKPLATFORM_API int createSchema(DatabaseUrl url, const SchemaObjects& objects, std::string& error);

/// Every difference of the database from the declarations, one text each. Tables, columns and indexes beyond them are
/// none.
VSDKPLATFORM_API int checkSchema(DatabaseUrl url, const SchemaObjects& objects, std::vector<std::string>& differences,
                                 std::string& error);

/// Brings an older database to this version, in one transaction; `from` is the version found. A newer one is refused,
/// and so is an older one of which anything would be lost.
VSDKPLATFORM_API int upgradeSchema(const DatabaseUrl& url, const SchemaObjects& objects, int& from, std::string& error);

struct DatabaseFacts {
    std::string engine; ///< with its version
    std::string journal;
    std::string bytes;
    std::string integrity;                 ///< "ok", or the first fault
    int version = 0;                       ///< of the schema, 0 when there is none
    std::int64_t roundTripNanoseconds = 0; ///< the median of many point reads
};

VSDKPLATFORM_API int examineDatabase(DatabaseUrl url, DatabaseFacts& facts, std::string& error);

class Connection;

/// The schema's version, 0 when there is none or `status` is a failure.
int readSchemaVersion(Connection& connection, int& status);

/// 0 when the schema is of this library's version; else `error` names the database and the remedy.
int requireVersion(Connection& connection, const std::string& name, std::string& error);

} // namespace hubdb

#include "RawReader.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace {

template <std::size_t N> void copyText(sqlite3_stmt* statement, int column, char (&buffer)[N]) {
    const unsigned char* const text = sqlite3_column_text(statement, column);
    const std::size_t length = std::min(static_cast<std::size_t>(sqlite3_column_bytes(statement, column)), N - 1);
    if (text != nullptr)
        std::memcpy(buffer, text, length);
    buffer[length] = '\0';
}

void copyText(sqlite3_stmt* statement, int column, OVDBText& owned) {
    const unsigned char* const text = sqlite3_column_text(statement, column);
    const auto length = static_cast<std::size_t>(sqlite3_column_bytes(statement, column));
    owned.bytes.assign(text == nullptr ? "" : reinterpret_cast<const char*>(text), length);
}

} // namespace

RawReader::RawReader(const std::string& file) {
    sqlite3* opened = nullptr;
    const int code = sqlite3_open_v2(file.c_str(), &opened,
                                     SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE, nullptr);
    database_.reset(opened);
    if (code != SQLITE_OK)
        throw std::runtime_error(file + ": " + sqlite3_errmsg(opened));
    // What the engine sets for its own connections, as far as it touches reads.
    execute("PRAGMA cache_size=-16384");
    const std::string select = std::string("SELECT ") + APP_Client_t2::kRow.columnList + " FROM APP_Client";
    one_ = prepare(select + " WHERE id=?");
    all_ = prepare(select + " ORDER BY id");
}

RawReader::Statement RawReader::prepare(const std::string& sql) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v3(database_.get(), sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) !=
        SQLITE_OK)
        throw std::runtime_error(sqlite3_errmsg(database_.get()));
    return Statement(statement);
}

void RawReader::execute(const char* sql) {
    if (sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK)
        throw std::runtime_error(sqlite3_errmsg(database_.get()));
}

bool RawReader::readOne(int id, APP_Client_t& row) {
    sqlite3_bind_int(one_.get(), 1, id);
    const bool found = sqlite3_step(one_.get()) == SQLITE_ROW;
    if (found)
        fill(one_.get(), row);
    sqlite3_reset(one_.get()); // or it would keep its lock and its snapshot
    return found;
}

void RawReader::fill(sqlite3_stmt* statement, APP_Client_t& row) {
    row.id = sqlite3_column_int(statement, 0);
    copyText(statement, 1, row.name);
    row.simOperatingSystemId = sqlite3_column_int(statement, 2);
    copyText(statement, 3, row.net_hostname);
    copyText(statement, 4, row.client_password);
    row.refTime = sqlite3_column_int64(statement, 5);
    row.modified = sqlite3_column_int64(statement, 6);
    row.offlineEntity = sqlite3_column_int(statement, 7);
    row.offlineTimeStamp = sqlite3_column_int64(statement, 8);
    copyText(statement, 9, row.hsHostName);
    copyText(statement, 10, row.clientDescription);
    copyText(statement, 11, row.jobResultDir);
    row.clientSkewTime = sqlite3_column_int(statement, 12);
    row.ovdPort = sqlite3_column_int(statement, 13);
    row.evmgrcPort = sqlite3_column_int(statement, 14);
    row.status = sqlite3_column_int(statement, 15);
    row.releaseId = sqlite3_column_int(statement, 16);
    row.spaceCheckFlags = sqlite3_column_int(statement, 17);
    row.ccpId = sqlite3_column_int(statement, 18);
    row.ccpTime = sqlite3_column_int64(statement, 19);
    row.origHCId = sqlite3_column_int(statement, 20);
    copyText(statement, 21, row.GUID);
    row.specialClientFlags = sqlite3_column_int(statement, 22);
    copyText(statement, 23, row.displayName);
}

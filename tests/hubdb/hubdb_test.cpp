#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Db/Tbl/HubTables.h"
#include "support/Process.h"
#include "support/TempDatabase.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

/// Empty where there is no file.
std::string contents(const std::string& path) {
    if (!std::filesystem::is_regular_file(path))
        return "";
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Runs the tool on a database in a directory of its own; beside it, looks into the file as SQLite shows it.
class Hubdb : public ::testing::Test {
  protected:
    support::ProcessResult run(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), VSDK_HUBDB_PATH);
        return support::runProcess(arguments, {{"HUBDB_URL", ""}});
    }
    /// Runs a command that must end with `exitCode` and whose one line on standard error must tell `reason`.
    void fails(const std::vector<std::string>& arguments, int exitCode, const std::string& reason) const {
        const auto result = run(arguments);
        EXPECT_EQ(result.exitCode, exitCode) << result.err;
        EXPECT_THAT(result.err, StartsWith("hubdb: "));
        EXPECT_THAT(result.err, HasSubstr(reason));
        EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
        EXPECT_EQ(result.out, "");
    }
    void succeeds(const std::vector<std::string>& arguments) const {
        const auto result = run(arguments);
        ASSERT_EQ(result.exitCode, 0) << result.err << result.out;
    }
    void create() const { succeeds({"create", url_}); }

    /// Every row of a query, columns separated by |, rows by line ends.
    static std::string query(const std::string& path, const std::string& sql) {
        sqlite3* opened = nullptr;
        sqlite3_open(path.c_str(), &opened);
        const std::unique_ptr<sqlite3, int (*)(sqlite3*)> database(opened, &sqlite3_close);
        std::string text;
        const auto row = [](void* out, int count, char** values, char**) {
            for (int i = 0; i < count; ++i)
                *static_cast<std::string*>(out) +=
                    std::string(i == 0 ? "" : "|") + (values[i] == nullptr ? "NULL" : values[i]);
            *static_cast<std::string*>(out) += "\n";
            return 0;
        };
        if (sqlite3_exec(opened, sql.c_str(), row, &text, nullptr) != SQLITE_OK)
            ADD_FAILURE() << sqlite3_errmsg(opened) << ": " << sql;
        return text;
    }
    std::string query(const std::string& sql) const { return query(path_, sql); }
    /// The rows of every table but the one that tells when the schema was applied.
    static std::string dump(const std::string& path) {
        std::string text;
        for (const auto* table : kHubTables)
            if (table != &HubSchema_t2::kRow)
                text += std::string(table->object) + ":\n" +
                        query(path,
                              std::string("SELECT ") + table->columnList + " FROM " + table->object + " ORDER BY 1, 2");
        return text;
    }
    std::string write(const std::string& name, const std::string& bytes) const {
        std::ofstream(directory_.file(name), std::ios::binary) << bytes;
        return directory_.file(name);
    }
    void makeVersion1() const { query(contents(VSDK_SOURCE_DIR "/tests/data/schema-v1.sql")); }

    support::TempDirectory directory_;
    std::string path_ = directory_.file("hub.db");
    std::string url_ = "sqlite:" + path_;
};

// ---- create

TEST_F(Hubdb, CreateMakesADatabaseAndAKeyThatOnlyTheOwnerReads) {
    create();
    struct stat about {};
    for (const auto& file : {path_, path_ + ".key"}) {
        ASSERT_EQ(stat(file.c_str(), &about), 0) << file;
        EXPECT_EQ(about.st_mode & 0777U, 0600U) << file;
    }
    const std::string key = contents(path_ + ".key");
    EXPECT_EQ(key.find_first_not_of("0123456789abcdef"), 64U);
    EXPECT_EQ(key.size(), 65U);
    EXPECT_EQ(run({"check", url_}).exitCode, 0);
    EXPECT_EQ(query("SELECT version, applied > 1700000000 FROM HubSchema"), "2|1\n");
}

TEST_F(Hubdb, CreateNeverOverwritesAndLeavesNothingBehind) {
    create();
    const std::string before = contents(path_);
    const std::string key = contents(path_ + ".key");
    fails({"create", url_}, 1, "holds tables already");
    EXPECT_EQ(contents(path_), before);
    EXPECT_EQ(contents(path_ + ".key"), key);

    const std::string text = write("text", std::string(5000, 'x'));
    const std::string fresh = directory_.file("fresh");
    for (const auto& [target, reason] :
         {std::pair{"sqlite:" + text, "file is not a database"},
          {"sqlite:" + write("empty", "") + "?key=" + directory_.file("no/key"), "the key cannot be written"},
          {"sqlite:" + fresh + "?key=" + directory_.file("no/key"), "the key cannot be written"},
          {"sqlite:" + directory_.file("no/fresh") + "?key=" + fresh, "unable to open database file"},
          {"sqlite:" + directory_.path(), "is a directory"}})
        fails({"create", target}, 1, reason);
    EXPECT_EQ(contents(text), std::string(5000, 'x'));
    std::vector<std::string> left;
    for (const auto& file : std::filesystem::directory_iterator(directory_.path()))
        left.push_back(file.path().filename());
    EXPECT_THAT(left, ::testing::UnorderedElementsAre("hub.db", "hub.db.key", "hub.db-journal", "text"));

    succeeds({"create", "sqlite:" + fresh + "?key=" + path_ + ".key"});
    EXPECT_EQ(contents(path_ + ".key"), key) << "a key that is there is kept";
}

TEST_F(Hubdb, OfManyThatCreateOneDatabaseOneMakesItAndItsKey) {
    constexpr int kProcesses = 6;
    for (const bool alreadyThere : {false, true}) {
        std::filesystem::remove(path_);
        std::filesystem::remove(path_ + ".key");
        // An empty file that is locked lets them all begin before the first of them can go on.
        sqlite3* holder = nullptr;
        if (alreadyThere) {
            write("hub.db", "");
            sqlite3_open(path_.c_str(), &holder);
            sqlite3_exec(holder, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr);
        }
        std::vector<std::future<support::ProcessResult>> running;
        for (int i = 0; i < kProcesses; ++i)
            running.push_back(std::async(std::launch::async, [this] { return run({"create", url_}); }));
        std::this_thread::sleep_for(std::chrono::milliseconds(alreadyThere ? 300 : 0));
        sqlite3_close(holder);

        int made = 0;
        for (auto& one : running) {
            const auto result = one.get();
            made += result.exitCode == 0 ? 1 : 0;
            EXPECT_EQ(result.out, result.exitCode == 0 ? "created " + path_ + " and its key " + path_ + ".key\n" : "");
            EXPECT_THAT(result.err, HasSubstr(result.exitCode == 0 ? "" : "holds tables already"));
        }
        EXPECT_EQ(made, 1);
        EXPECT_EQ(run({"check", url_}).exitCode, 0);
        EXPECT_EQ(contents(path_ + ".key").size(), 65U);
    }
}

TEST_F(Hubdb, DatabasesMadeAtOnceShareOneWholeKey) {
    const std::string key = directory_.file("shared.key");
    const auto create = [&](int i) {
        return run({"create", "sqlite:" + directory_.file(std::to_string(i) + ".db") + "?key=" + key});
    };
    std::vector<std::future<support::ProcessResult>> running;
    for (int i = 0; i < 6; ++i)
        running.push_back(std::async(std::launch::async, create, i));
    int keysMade = 0;
    for (auto& one : running) {
        const auto result = one.get();
        EXPECT_EQ(result.exitCode, 0) << result.err;
        keysMade += result.out.find(" and its key ") != std::string::npos ? 1 : 0;
    }
    EXPECT_EQ(keysMade, 1);
    EXPECT_EQ(contents(key).size(), 65U);
    for (const auto& file : std::filesystem::directory_iterator(directory_.path()))
        EXPECT_THAT(file.path().filename(), Not(StartsWith("shared.key."))) << "a draft is left";
}

TEST_F(Hubdb, TheSchemaHoldsRowsToTheirDeclaration) {
    create();
    query("INSERT INTO UMVSDKSessions (userName) VALUES ('a'), ('b'); INSERT INTO MMHost (ClientId) VALUES (7);");
    EXPECT_EQ(query("SELECT count(DISTINCT GUID), min(length(GUID)), min(location = ''), min(loginType) "
                    "FROM UMVSDKSessions"),
              "2|64|1|0\n");
    EXPECT_EQ(query("SELECT ClientId FROM MMHost WHERE id = 7"), "7\n");
    query("INSERT INTO APP_Client (id, name) VALUES (90, 'x'); DELETE FROM APP_Client; "
          "INSERT INTO APP_Client (name) VALUES ('y')");
    EXPECT_EQ(query("SELECT id FROM APP_Client"), "91\n") << "no id is given twice";
    for (const char* bad : {"INSERT INTO APP_Client (id) VALUES (2147483648)",
                            "INSERT INTO SimOperatingSystem (Name) VALUES (replace(hex(zeroblob(33)), '00', 'ü'))",
                            "INSERT INTO APP_Client (status) VALUES ('text')",
                            "INSERT INTO APP_Client (name) VALUES (NULL)", "UPDATE UMVSDKSessions SET GUID = 'same'"}) {
        sqlite3* opened = nullptr;
        sqlite3_open(path_.c_str(), &opened);
        EXPECT_EQ(sqlite3_exec(opened, bad, nullptr, nullptr, nullptr), SQLITE_CONSTRAINT) << bad;
        sqlite3_close(opened);
    }
}

// ---- check, doctor

TEST_F(Hubdb, CheckNamesEveryDifferenceAndIgnoresWhatIsBeyondTheSchema) {
    struct Case {
        const char* change;
        const char* difference; ///< empty: none
    };
    for (const auto& [change, difference] : {
             Case{"CREATE TABLE Mine (a); ALTER TABLE APP_Client ADD COLUMN mine TEXT; CREATE INDEX one ON MMHost "
                  "(id);",
                  ""},
             Case{"DROP INDEX UMUsers_login; CREATE UNIQUE INDEX other ON UMUsers (login);", ""},
             Case{"DROP TABLE SMVolume;", "SMVolume: the table is missing\n"},
             Case{"ALTER TABLE JMJobStats DROP COLUMN subOpType;", "JMJobStats.subOpType: the column is missing\n"},
             Case{"DROP TABLE UMJobVisibility; CREATE TABLE UMJobVisibility (userId TEXT, clientId INTEGER NOT NULL "
                  "CONSTRAINT clientId_range CHECK (clientId BETWEEN -2147483648 AND 2147483647), PRIMARY KEY "
                  "(userId));",
                  "UMJobVisibility.userId: the column is of type TEXT, not INTEGER\n"
                  "UMJobVisibility: the table has not the PRIMARY KEY (userId, clientId)\n"
                  "UMJobVisibility: the table does not end with \") STRICT\"\n"},
             Case{"DROP TABLE APP_iDAType; CREATE TABLE APP_iDAType (\n    type INTEGER NOT NULL "
                  "CONSTRAINT type_range CHECK (type BETWEEN -2147483648 AND 2147483647),\n    name TEXT,\n    PRIMARY "
                  "KEY (type)\n) STRICT;",
                  "APP_iDAType.name: the column is not defined as \"name TEXT NOT NULL DEFAULT '' "
                  "CONSTRAINT name_width CHECK (length(CAST(name AS BLOB)) <= 256)\"\n"},
             Case{"DROP INDEX UMVSDKSessions_GUID; CREATE INDEX UMVSDKSessions_GUID ON UMVSDKSessions (GUID);",
                  "UMVSDKSessions: the unique index on (GUID) is missing\n"},
             Case{"DROP INDEX APP_IDAName_clientId_appTypeId;",
                  "APP_IDAName: the index on (clientId, appTypeId) is missing\n"},
             Case{"UPDATE HubSchema SET version = 1;", "HubSchema: the version is 1, not 2: run hubdb upgrade\n"},
         }) {
        std::filesystem::remove(path_);
        create();
        query(change);
        const auto result = run({"check", url_});
        const bool same = *difference == '\0';
        EXPECT_EQ(result.exitCode, same ? 0 : 1) << change;
        EXPECT_EQ(result.out, same ? "the schema is that of version 2\n" : difference) << change;
    }
}

TEST_F(Hubdb, DoctorTellsWhatIsWrong) {
    create();
    const auto healthy = run({"doctor", url_});
    EXPECT_EQ(healthy.exitCode, 0);
    EXPECT_THAT(healthy.out, Not(HasSubstr("warn")));
    chmod(path_.c_str(), 0604);
    chmod((path_ + ".key").c_str(), 0640);
    query("DROP TABLE SMVolume");
    const auto result = run({"doctor", "--db", url_});
    EXPECT_EQ(result.exitCode, 1);
    for (const char* line : {"ok    engine        SQLite 3.", "ok    integrity     ok\n", "warn  database file ",
                             "mode 0604: others have access, and it holds login tokens\n", "warn  password key  ",
                             "mode 0640, should be 0600\n", "fail  schema        SMVolume: the table is missing\n"})
        EXPECT_THAT(result.out, HasSubstr(line));

    std::fstream file(path_, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(4096 * 3);
    file << std::string(4096, '\xAA');
    file.close();
    const auto damaged = run({"doctor", url_});
    EXPECT_EQ(damaged.exitCode, 1);
    EXPECT_THAT(damaged.out, HasSubstr("fail  "));
}

// ---- upgrade

TEST_F(Hubdb, UpgradeFromVersion1KeepsTheData) {
    makeVersion1();
    query("INSERT INTO APP_Client (id, name) VALUES (5, 'kept');"
          "INSERT INTO APP_iDAType VALUES (12, 'Files'); INSERT INTO ArchPipeConfig VALUES (1, 2, 3, NULL);"
          "INSERT INTO MMHost (ClientId, Descript) VALUES (5, 'agent');"
          "INSERT INTO UMVSDKSessions (id, userId, GUID, userName) VALUES (1, 1, 'token', 'early'), (2, 1, 'token', "
          "'late'),"
          "(3, 1, '', 'none'), (4, 1, NULL, 'none'), (5, 1, 'own', 'alone'), (40, 1, 'last', 'gone');"
          "DELETE FROM UMVSDKSessions WHERE id = 40;"
          "CREATE TABLE Seen (id); CREATE TRIGGER watch AFTER INSERT ON MMHost BEGIN INSERT INTO Seen VALUES "
          "(new.ClientId); END;"
          "CREATE INDEX mine ON MMHost (Descript);");
    EXPECT_EQ(run({"upgrade", url_}).out, "upgraded from version 1 to 2\n");
    EXPECT_EQ(run({"check", url_}).out, "the schema is that of version 2\n");
    EXPECT_EQ(query("SELECT id, name FROM APP_Client"), "5|kept\n");
    EXPECT_EQ(query("SELECT * FROM APP_iDAType"), "12|Files\n");
    EXPECT_EQ(query("SELECT * FROM ArchPipeConfig"), "1|2|3|NULL\n");
    EXPECT_EQ(query("SELECT id, ClientId, Descript FROM MMHost"), "5|5|agent\n");
    EXPECT_EQ(query("SELECT id, GUID, userName, loginType FROM UMVSDKSessions"), "2|token|late|0\n5|own|alone|0\n");
    query("INSERT INTO UMVSDKSessions (userName) VALUES ('new'); INSERT INTO MMHost (ClientId) VALUES (6)");
    EXPECT_EQ(query("SELECT max(id) FROM UMVSDKSessions"), "41\n") << "the numbering goes on";
    EXPECT_EQ(query("SELECT id FROM Seen"), "6\n") << "what stood on a rebuilt table stands again";
    EXPECT_EQ(query("SELECT count(*) FROM sqlite_schema WHERE name = 'mine'"), "1\n");
    EXPECT_EQ(query("SELECT version FROM HubSchema ORDER BY 1"), "1\n2\n");

    const std::string after = contents(path_);
    EXPECT_EQ(run({"upgrade", url_}).out, "the database is of version 2 already\n");
    EXPECT_EQ(contents(path_), after);
}

TEST_F(Hubdb, UpgradeRebuildsATableThatHasItsGeneratedColumnAlready) {
    makeVersion1();
    query("DROP TABLE MMHost; CREATE TABLE MMHost (ClientId INTEGER PRIMARY KEY, "
          "id INTEGER GENERATED ALWAYS AS (ClientId) STORED); INSERT INTO MMHost (ClientId) VALUES (4)");
    succeeds({"upgrade", url_});
    EXPECT_EQ(query("SELECT ClientId, id, MmHostType FROM MMHost"), "4|4|NULL\n");
}

TEST_F(Hubdb, UpgradeChangesNothingWhenItCannotKeepEverything) {
    struct Case {
        const char* change;
        const char* reason;
    };
    for (const auto& [change, reason] : {
             Case{"ALTER TABLE MMHost ADD COLUMN mine TEXT", "MMHost.mine: the column is not this library's"},
             Case{"INSERT INTO ArchPipeConfig VALUES (1, 'two', 3, 4)", "the table ArchPipeConfig cannot be rebuilt"},
             Case{"INSERT INTO UMUsers (login) VALUES ('same'), ('same')",
                  "UMUsers: the index on (login) cannot be made"},
             Case{"INSERT INTO HubSchema VALUES (3, 0)",
                  "is a hub database of version 3, and this library uses version 2: update the library"},
             Case{"DELETE FROM HubSchema", "is not a hub database"},
             Case{"DROP TABLE UMVSDKSessions", "the data of version 1 cannot be upgraded"},
         }) {
        std::filesystem::remove(path_);
        makeVersion1();
        query(change);
        const std::string before = contents(path_);
        fails({"upgrade", url_}, 1, reason);
        EXPECT_EQ(contents(path_), before) << change;
    }
}

// ---- load

TEST_F(Hubdb, TheSampleEstateLoads) {
    create();
    succeeds({"load", url_, VSDK_SOURCE_DIR "/examples/estate.json"});
    EXPECT_EQ(query("SELECT t.name, a.status FROM APP_IDAName a JOIN APP_iDAType t ON t.type = a.appTypeId "
                    "WHERE clientId = 2 ORDER BY a.id"),
              "Linux File System|0\nMailbox|0\nMailbox Database|2\n");
    EXPECT_EQ(query("SELECT hex(fileName) FROM APP_ScFilterFile WHERE fileName LIKE 'rack1%'"),
              "7261636B3112776562136469736B3015736E6170\n");
    EXPECT_EQ(query("SELECT name FROM APP_Client WHERE id = 5"), "Zürich-東京\n");
    query("INSERT INTO APP_Client (name) VALUES ('next')");
    EXPECT_EQ(query("SELECT max(id) FROM APP_Client"), "8\n") << "the numbering has moved";
}

TEST_F(Hubdb, AMissingMemberIsTheColumnsDefaultAndNullIsNull) {
    create();
    const std::string file = write("e.json", R"({"tables": {"APP_Client": [{"name": ""}, {"id": 9, "status": null}],
        "UMVSDKSessions": [{}, {"GUID": "given", "created": -9223372036854775808}]}})");
    EXPECT_EQ(run({"load", "--db", url_, file}).out, "loaded 4 rows into 2 tables\n");
    EXPECT_EQ(query("SELECT id, name, status, net_hostname FROM APP_Client"), "1||NULL|NULL\n9||NULL|NULL\n");
    EXPECT_EQ(query("SELECT length(GUID), created, hostName FROM UMVSDKSessions"),
              "64|0|NULL\n5|-9223372036854775808|NULL\n");
}

TEST_F(Hubdb, BadEstatesAreRefusedWithTheirPlaceAndChangeNothing) {
    create();
    query("INSERT INTO APP_Client (id, name) VALUES (2, 'there')");
    const std::string before = contents(path_);
    const std::string good = R"({"id": 10}, )"; // a good row before the bad one
    const auto client = [&](const std::string& row) { return R"({"tables": {"APP_Client": [)" + good + row + "]}}"; };
    struct Case {
        std::string text;
        const char* reason;
    };
    for (const auto& [text, reason] : {
             Case{client(R"({"nam": "x"})"), "APP_Client[1]: \"nam\" is not a column"},
             Case{client(R"({"name": "a", "name": "b"})"), "APP_Client[1].name: the column is given twice"},
             Case{client(R"({"name": 5})"), "APP_Client[1].name: a number where a text belongs"},
             Case{client(R"({"name": null})"), "APP_Client[1]: NOT NULL constraint failed: APP_Client.name"},
             Case{client(R"({"name": "a\u0000b"})"), "APP_Client[1].name: the text is not valid UTF-8, or holds a NUL"},
             Case{client("{\"name\": \"\xC3(\"}"),
                  "line 1, column 51: syntax error while parsing value - invalid string: ill-formed UTF-8 byte"},
             Case{client(R"({"name": "\ud800"})"), "surrogate"},
             Case{client("{\"name\": \"" + std::string(511, 'x') + "\"}"),
                  "APP_Client[1].name: the text has 511 bytes, and the column holds 510"},
             Case{client(R"({"status": "1"})"), "APP_Client[1].status: a text where a number belongs"},
             Case{client(R"({"status": 2147483648})"), "APP_Client[1].status: 2147483648 does not fit 32 bits"},
             Case{client(R"({"status": -2147483649})"), "APP_Client[1].status: -2147483649 does not fit 32 bits"},
             Case{client(R"({"refTime": 9223372036854775808})"),
                  "APP_Client[1].refTime: 9223372036854775808 does not fit 64 bits"},
             Case{client(R"({"status": 1.5})"), "APP_Client[1].status: 1.5 is not a whole number"},
             Case{client(R"({"status": 1e400})"), "number overflow"},
             Case{client(R"({"status": true})"), "APP_Client[1].status: true and false are no values"},
             Case{client(R"({"status": {}})"), "APP_Client[1].status: an object does not belong here"},
             Case{client(R"({"status": [1]})"), "APP_Client[1].status: an array does not belong here"},
             Case{client(R"({"id": 10})"), "APP_Client[1]: UNIQUE constraint failed: APP_Client.id"},
             Case{client(R"({"id": 2})"), "APP_Client[1]: UNIQUE constraint failed: APP_Client.id"},
             Case{client(R"({"id": null})"), "APP_Client[1].id: a key cannot be NULL"},
             Case{client("7"), "APP_Client[1]: a value does not belong here"},
             Case{R"({"tables": {"MMHost": [{"MmHostType": 1}]}})", "MMHost[0].ClientId: the key must be given"},
             Case{R"({"tables": {"MMHost": [{"ClientId": 1, "id": 1}]}})", "MMHost[0]: \"id\" is not a column"},
             Case{R"({"tables": {"JMJobEntity": [{"jobId": 1}]}})", "JMJobEntity[0].hubCellId: the key must be given"},
             Case{R"({"tables": {"APP_Clients": []}})", "\"APP_Clients\" is not a table"},
             Case{R"({"tables": {"HubSchema": []}})", "HubSchema: the table is the database's own"},
             Case{R"({"tables": {"MMHost": [], "MMHost": []}})", "MMHost: the table is given twice"},
             Case{R"({"tables": {"MMHost": {}}})", "MMHost: an object does not belong here"},
             Case{R"({"tables": {}, "tables": {}})", "\"tables\" is given twice"},
             Case{R"({"table": {}})", "\"table\" is not a member of an estate"},
             Case{"{}", "the member \"tables\" is missing"},
             Case{"[]", "an array does not belong here"},
             Case{"5", "a value does not belong here"},
             Case{"", "line 1, column 1"},
             Case{client("{}") + "x", "line 1"},
             Case{client("{}").substr(0, 40), "line 1"},
             Case{std::string(200'000, '['), "an array does not belong here"},
         }) {
        const std::string file = write("bad.json", text);
        fails({"load", url_, file}, 4, "bad.json: ");
        fails({"load", url_, file}, 4, reason);
        EXPECT_EQ(contents(path_), before) << text.substr(0, 100);
    }
}

// ---- bad databases and command lines

TEST_F(Hubdb, NoCommandWorksOnWhatIsNoHubDatabase) {
    const std::string estate = VSDK_SOURCE_DIR "/examples/estate.json";
    create();
    const std::string other = directory_.file("other.db");
    query(other, "CREATE TABLE Other (a)");
    const std::string newer = directory_.file("newer.db");
    std::filesystem::copy_file(path_, newer);
    query(newer, "INSERT INTO HubSchema VALUES (3, 0)");
    struct Case {
        std::string path;
        int exitCode;
        const char* reason;
    };
    for (const auto& [path, exitCode, reason] :
         {Case{directory_.file("none"), 3, "No such file or directory"}, Case{directory_.path(), 1, "is a directory"},
          Case{write("text", std::string(9000, 'x')), 1, "file is not a database"},
          Case{write("empty", ""), 1, "is not a hub database"}, Case{other, 1, "is not a hub database"},
          Case{newer, 1, "is a hub database of version 3"}}) {
        const std::string before = contents(path);
        for (const auto& command : std::vector<std::vector<std::string>>{
                 {"check"}, {"upgrade"}, {"load", estate}, {"generate", "--clients", "2"}}) {
            auto arguments = command;
            arguments.insert(arguments.end(), {"--db", "sqlite:" + path});
            fails(arguments, exitCode, reason);
        }
        EXPECT_EQ(run({"doctor", "sqlite:" + path}).exitCode, exitCode) << path;
        EXPECT_EQ(contents(path), before) << path;
    }
    fails({"load", url_, directory_.file("none")}, 3, "No such file or directory");
    fails({"load", url_, directory_.path()}, 1, "is a directory");

    const std::string older = directory_.file("older.db");
    query(older, contents(VSDK_SOURCE_DIR "/tests/data/schema-v1.sql"));
    fails({"load", "sqlite:" + older, estate}, 1, "run hubdb upgrade");
    fails({"generate", "sqlite:" + older, "--clients", "1"}, 1, "run hubdb upgrade");

    sqlite3* holder = nullptr;
    sqlite3_open(path_.c_str(), &holder);
    sqlite3_exec(holder, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    fails({"load", url_ + "?lock_ms=50", estate}, 1, "database is locked");
    fails({"generate", url_ + "?lock_ms=50", "--clients", "1"}, 1, "database is locked");
    fails({"upgrade", url_ + "?lock_ms=50"}, 1, "database is locked");
    sqlite3_close(holder);
}

TEST_F(Hubdb, AFullDiskChangesNothing) {
    create();
    const std::string before = contents(path_);
    // A limit on the size of files stands for the end of the disk; 512-byte blocks.
    const auto result = support::runProcess({"/bin/sh", "-c",
                                             "trap '' XFSZ; ulimit -f 4000; exec \"$0\" generate \"$1\" --clients 3000",
                                             VSDK_HUBDB_PATH, url_});
    EXPECT_EQ(result.exitCode, 1) << result.err;
    EXPECT_THAT(result.err, StartsWith("hubdb: "));
    EXPECT_EQ(run({"check", url_}).exitCode, 0);
    EXPECT_EQ(query("SELECT count(*) FROM SimOperatingSystem"), "0\n");
    EXPECT_EQ(contents(path_), before);
}

TEST_F(Hubdb, WrongCommandLinesAreToldApart) {
    const std::string file = write("e.json", "{}");
    struct Case {
        std::vector<std::string> arguments;
        const char* reason;
    };
    for (const auto& [arguments, reason] : {
             Case{{}, "the command is missing"},
             Case{{"destroy", url_}, "destroy"},
             Case{{"check"}, "no database: give its URL, or set HUBDB_URL"},
             Case{{"check", path_}, "must begin with sqlite:"},
             Case{{"check", "sqlite:"}, "names no file"},
             Case{{"check", url_ + "?pool=x"}, "the database URL's option 'pool'"},
             Case{{"check", url_, url_}, "not expected"},
             Case{{"check", url_, "--db", url_}, "the database is given twice"},
             Case{{"load", "--db", url_}, "the file is missing"},
             Case{{"load", file, "--db", url_, "--unknown"}, "--unknown"},
             Case{{"generate", url_}, "--clients"},
             Case{{"generate", url_, "--clients", "010"}, "\"010\" is not a whole number from 1"},
             Case{{"generate", url_, "--clients", "0"}, "\"0\" is not a whole number from 1"},
             Case{{"generate", url_, "--clients", "1", "--seed", "2147483648"}, "\"2147483648\" is not a whole number"},
         })
        fails(arguments, 2, reason);
    EXPECT_FALSE(std::filesystem::exists(path_));
    create();
    EXPECT_EQ(run({"--db", url_, "check"}).exitCode, 0) << "global options stand before the command too";
    EXPECT_EQ(support::runProcess({VSDK_HUBDB_PATH, "check"}, {{"HUBDB_URL", url_}}).exitCode, 0);
}

// ---- generate

TEST_F(Hubdb, OneSeedMakesOneEstateOnEveryMachine) {
    const std::string second = directory_.file("second.db");
    create();
    succeeds({"create", "sqlite:" + second});
    succeeds({"generate", url_, "--clients", "300", "--seed", "5"});
    succeeds({"generate", "sqlite:" + second, "--clients", "300", "--seed", "5"});
    const std::string estate = dump(path_);
    EXPECT_TRUE(estate == dump(second));
    std::uint64_t digest = 0xCBF29CE484222325U;
    for (const char c : estate)
        digest = (digest ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
    EXPECT_EQ(digest, 5994021575495680619U) << "if the generator was changed on purpose, this is the new digest";

    const std::string before = contents(path_);
    fails({"generate", url_, "--clients", "1"}, 1, "only an empty database can be filled");
    EXPECT_EQ(contents(path_), before);

    const std::string third = "sqlite:" + directory_.file("third.db");
    succeeds({"create", third});
    succeeds({"generate", third, "--clients", "300", "--seed", "6"});
    EXPECT_FALSE(estate == dump(directory_.file("third.db")));
}

TEST_F(Hubdb, AGeneratedEstateHasWhatRealOnesHave) {
    create();
    succeeds({"generate", url_, "--clients", "3000", "--jobs", "1000", "--sessions", "7"});
    EXPECT_EQ(run({"doctor", url_}).exitCode, 0);
    EXPECT_EQ(query("SELECT count(*) FROM APP_Client"), "3001\n");
    EXPECT_EQ(query("SELECT (SELECT count(*) FROM JMJobInfo), (SELECT count(*) FROM JMJobStats), "
                    "(SELECT count(*) FROM JMJobEntity), (SELECT count(*) FROM UMVSDKSessions)"),
              "100|900|1000|7\n");
    EXPECT_EQ(query("SELECT type FROM APP_iDAType WHERE type NOT IN (SELECT appTypeId FROM APP_IDAName)"), "")
        << "every agent type is installed somewhere";
    for (const char* some : {"APP_IDAName WHERE status & 2",
                             "APP_IDAName WHERE status & 4",
                             "APP_IDAName WHERE status & 8",
                             "APP_IDAName WHERE status IS NULL",
                             "APP_IDAName WHERE appTypeId NOT IN (SELECT type FROM APP_iDAType)",
                             "APP_IDAName WHERE clientId NOT IN (SELECT id FROM APP_Client)",
                             "APP_Application WHERE subclientStatus & 2",
                             "APP_Application WHERE subclientStatus & 4",
                             "APP_Application WHERE appTypeId IS NULL",
                             "APP_Application WHERE appTypeId = -1",
                             "APP_Application WHERE backupSet NOT IN (SELECT id FROM APP_BackupSetName)",
                             "APP_Application WHERE dataArchGrpID NOT IN (SELECT id FROM ArchGroup)",
                             "APP_Client WHERE clientDescription IS NULL",
                             "APP_Client WHERE name LIKE '%''%'",
                             "APP_Client WHERE name LIKE '東京%'",
                             "(SELECT name FROM APP_Client GROUP BY name HAVING count(*) > 1)",
                             "APP_ScFilterFile WHERE modified <> 0",
                             "APP_ScFilterFile WHERE type = 3",
                             "APP_ScFilterFile WHERE fileName IS NULL",
                             "APP_ScFilterFile WHERE instr(fileName, char(18))",
                             "APP_ScFilterFile WHERE instr(fileName, char(19)) AND instr(fileName, char(14))",
                             "APP_ScFilterFile WHERE instr(fileName, char(21))",
                             "APP_InstanceName WHERE instr(name, char(18))",
                             "APP_SubClientProp WHERE modified <> 0",
                             "APP_SubClientProp WHERE attrType = 118",
                             "APP_SubClientProp WHERE attrType = 111",
                             "APP_SubClientProp WHERE attrType = 112",
                             "JMJobInfo WHERE failureReason IS NULL",
                             "JMJobInfo WHERE failureReason LIKE '%' || char(10) || '%'",
                             "JMJobEntity WHERE subclientId NOT IN (SELECT id FROM APP_Application)",
                             "SMVolume",
                             "MMHost WHERE id = 1",
                             "UMJobVisibility WHERE clientId = 0",
                             "JMActivityControl WHERE enabled = 0"})
        EXPECT_NE(query(std::string("SELECT count(*) FROM ") + some), "0\n") << some;
}

} // namespace

#include <sys/stat.h>

#include <map>

#include "hubdb/HubdbTool.h"

namespace {

/// hubdb on a database file in a directory of its own; beside it, looks into the file as SQLite shows it.
class HubdbFiles : public HubdbTool, public ::testing::Test {
  protected:
    void create() const { succeeds({"create", url_}); }

    std::string query(const std::string& sql) const { return support::askSqlite(path_, sql); }

    std::string path_ = directory_.file("hub.db");
    std::string url_ = "sqlite:" + path_;
};

TEST_F(HubdbFiles, CreateNeverOverwritesAndLeavesNothingBehind) {
    create();
    struct stat about {};
    for (const auto& file : {path_, path_ + ".key"}) {
        ASSERT_EQ(stat(file.c_str(), &about), 0) << file;
        EXPECT_EQ(about.st_mode & 0777U, 0600U) << file;
    }
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
    EXPECT_THAT(left, ::testing::UnorderedElementsAre("hub.db", "hub.db.key", "hub.db-journal", "text", "empty"));

    succeeds({"create", "sqlite:" + fresh + "?key=" + path_ + ".key"});
    EXPECT_EQ(contents(path_ + ".key"), key) << "a key that is there is kept";
}

TEST_F(HubdbFiles, DatabasesMadeAtOnceShareOneWholeKey) {
    const std::string key = directory_.file("shared.key");
    std::vector<std::string> urls;
    for (int i = 0; i < 6; ++i)
        urls.push_back("sqlite:" + directory_.file(std::to_string(i) + ".db") + "?key=" + key);
    int keysMade = 0;
    for (auto& one : createAtOnce(urls)) {
        const auto result = one.get();
        EXPECT_EQ(result.exitCode, 0) << result.err;
        keysMade += result.out.find(" and its key ") != std::string::npos ? 1 : 0;
    }
    EXPECT_EQ(keysMade, 1);
    EXPECT_EQ(contents(key).size(), 65U);
    for (const auto& file : std::filesystem::directory_iterator(directory_.path()))
        EXPECT_THAT(file.path().filename(), Not(StartsWith("shared.key."))) << "a draft is left";
}

TEST_F(HubdbFiles, DoctorLooksAtTheFile) {
    create();
    const auto healthy = run({"doctor", url_});
    EXPECT_EQ(healthy.exitCode, 0);
    EXPECT_THAT(healthy.out, Not(HasSubstr("warn")));
    chmod(path_.c_str(), 0604);
    const auto open = run({"doctor", url_});
    EXPECT_THAT(open.out, HasSubstr("warn  database file "));
    EXPECT_THAT(open.out, HasSubstr("mode 0604: others have access, and it holds login tokens\n"));

    std::fstream file(path_, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(4096 * 3);
    file << std::string(4096, '\xAA');
    file.close();
    const auto damaged = run({"doctor", url_});
    EXPECT_EQ(damaged.exitCode, 1);
    EXPECT_THAT(damaged.out, HasSubstr("fail  "));
}

TEST_F(HubdbFiles, NoCommandWorksOnWhatIsNoDatabase) {
    struct Case {
        std::string path;
        int exitCode;
        const char* reason;
    };
    for (const auto& [path, exitCode, reason] :
         {Case{directory_.file("none"), 3, "No such file or directory"}, Case{directory_.path(), 1, "is a directory"},
          Case{write("text", std::string(9000, 'x')), 1, "file is not a database"},
          Case{write("empty", ""), 1, "is not a hub database"}}) {
        const std::string before = contents(path);
        for (const auto& command : kOnADatabase) {
            auto arguments = command;
            arguments.insert(arguments.end(), {"--db", "sqlite:" + path});
            fails(arguments, exitCode, reason);
        }
        EXPECT_EQ(run({"doctor", "sqlite:" + path}).exitCode, exitCode) << path;
        EXPECT_EQ(contents(path), before) << path;
    }
    create();
    fails({"load", url_, directory_.file("none")}, 3, "No such file or directory");
    fails({"load", url_, directory_.path()}, 1, "is a directory");
}

TEST_F(HubdbFiles, AFullDiskChangesNothing) {
    create();
    const std::string before = contents(path_);
    // A limit on the size of files stands for the end of the disk; 512-byte blocks.
    const auto result = support::runProcess({"/bin/sh", "-c",
                                             "trap '' XFSZ; ulimit -f 4000; exec \"$0\" generate \"$1\" --clients 3000",
                                             VSDK_HUBDB_PATH, url_});
    EXPECT_EQ(result.exitCode, 1) << result.err;
    EXPECT_THAT(result.err, StartsWith("hubdb: "));
    EXPECT_EQ(run({"check", url_}).exitCode, 0);
    EXPECT_EQ(query("SELECT count(*) FROM SimOperatingSystem"), "0");
    EXPECT_EQ(contents(path_), before);
}

TEST_F(HubdbFiles, WrongCommandLinesAreToldApart) {
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
             Case{{"load", "--db", url_}, "FILE is missing"},
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

TEST_F(HubdbFiles, AGeneratedEstateHasWhatRealOnesHave) {
    create();
    succeeds({"generate", url_, "--clients", "3000", "--jobs", "1000", "--sessions", "7"});
    EXPECT_EQ(run({"doctor", url_}).exitCode, 0);
    EXPECT_EQ(query("SELECT count(*) FROM APP_Client"), "3001");
    EXPECT_EQ(query("SELECT (SELECT count(*) FROM JMJobInfo), (SELECT count(*) FROM JMJobStats), "
                    "(SELECT count(*) FROM JMJobEntity), (SELECT count(*) FROM UMVSDKSessions)"),
              "100|900|1000|7");
    EXPECT_EQ(query("SELECT type FROM APP_iDAType WHERE type NOT IN (SELECT appTypeId FROM APP_IDAName)"), "")
        << "every agent type is installed somewhere";
    const std::map<std::string, std::vector<const char*>> kinds{
        {"APP_IDAName",
         {"status & 2", "status & 4", "status & 8", "status IS NULL", "appTypeId NOT IN (SELECT type FROM APP_iDAType)",
          "clientId NOT IN (SELECT id FROM APP_Client)"}},
        {"APP_Application",
         {"subclientStatus & 2", "subclientStatus & 4", "appTypeId IS NULL", "appTypeId = -1",
          "backupSet NOT IN (SELECT id FROM APP_BackupSetName)", "dataArchGrpID NOT IN (SELECT id FROM ArchGroup)"}},
        {"APP_Client", {"clientDescription IS NULL", "name LIKE '%''%'", "name LIKE '東京%'"}},
        {"APP_ScFilterFile",
         {"modified <> 0", "type = 3", "fileName IS NULL", "instr(fileName, char(18))",
          "instr(fileName, char(19)) AND instr(fileName, char(14))", "instr(fileName, char(21))"}},
        {"APP_InstanceName", {"instr(name, char(18))"}},
        {"APP_SubClientProp", {"modified <> 0", "attrType = 118", "attrType = 111", "attrType = 112"}},
        {"JMJobInfo", {"failureReason IS NULL", "failureReason LIKE '%' || char(10) || '%'"}},
        {"JMJobEntity", {"subclientId NOT IN (SELECT id FROM APP_Application)"}},
        {"SMVolume", {"TRUE"}},
        {"MMHost", {"id = 1"}},
        {"UMJobVisibility", {"clientId = 0"}},
        {"JMActivityControl", {"enabled = 0"}},
    };
    for (const auto& [table, conditions] : kinds)
        for (const char* condition : conditions)
            EXPECT_NE(query("SELECT count(*) FROM " + table + " WHERE " + condition), "0") << table << condition;
    EXPECT_NE(query("SELECT name FROM APP_Client GROUP BY name HAVING count(*) > 1"), "") << "twins";
}

} // namespace

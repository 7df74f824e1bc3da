#include <pty.h>
#include <unistd.h>

#include <thread>

#include "vcommand/VcommandTest.h"

namespace {

/// Clients whose names and numbers are made to be told apart, sorted and cut.
class Arranged : public VcommandTool {
  protected:
    void SetUp() override {
        VcommandTool::SetUp();
        if (!IsSkipped())
            hub_->run("INSERT INTO SimOperatingSystem (id, Name, Type) VALUES (1, 'Linux', 'Unix'), (2, 'BSD', 'Unix');"
                      "INSERT INTO APP_Client (id, name, simOperatingSystemId, status, releaseId) VALUES"
                      "(2, 'beta', 1, 0, 15), (3, 'Beta', 1, 2, 9), (4, 'beta*', 2, 10, 15), (5, 'bet[a', 2, -4, 9),"
                      "(6, 'büro', 1, 2, 100), (7, 'b,\"ü\"', 2, 0, 15), (8, '', 1, 0, 9),"
                      "(9, 'two\nlines\r', 1, 0, 9), (10, ' \xE2\x80\xAE\x1b[31m\\', 2, 0, 9);");
    }
    std::string ids(Arguments options) const {
        options.insert(options.begin(), {"list", "clients"});
        return column("id", options);
    }
};
INSTANTIATE_TEST_SUITE_P(Engines, Arranged, everyEngine(), &support::toolEngineName);

TEST_P(Arranged, FiltersSayWhatMustHold) {
    struct Case {
        std::string filter;
        const char* ids;
    };
    for (const auto& [filter, expected] : {
             Case{"name=beta", "2"},
             Case{"NAME=beta", "2"},
             Case{"name!=beta", "3 4 5 6 7 8 9 10"},
             Case{"name=bet*", "2 4 5"},
             Case{"name=*a", "2 3 5"},
             Case{"name=b*t*a*", "2 4 5"},
             Case{"name=*[*]", "4"},
             Case{"name=bet[[]a", "5"},
             Case{"name=bet[a", "5"},
             Case{"name=b?ro", "6"}, // one character, not one byte
             Case{"name=????", "2 3 6"},
             Case{"name=", "8"},
             Case{"name!=?*", "8"},
             Case{"name~*", "4"},
             Case{"name~eta", "2 3 4"},
             Case{"name!~eta", "5 6 7 8 9 10"},
             Case{"name=*\n*", "9"},
             Case{"name=*\\", "10"},
             Case{"name==beta", ""},
             Case{"status=2", "3 6"},
             Case{"status!=0", "3 4 5 6"},
             Case{"status<0", "5"},
             Case{"status<=0", "2 5 7 8 9 10"},
             Case{"status>2", "4"},
             Case{"status>=2", "3 4 6"},
             Case{"status>-9999999999", "2 3 4 5 6 7 8 9 10"},
             Case{"os-id=2", "4 5 7 10"},
         })
        EXPECT_EQ(ids({"--filter", filter}), expected) << filter;
    EXPECT_EQ(ids({"--filter", "os=Linux", "--filter", "name=*e*", "--filter", "status<2"}), "2 9");
}

TEST_P(Arranged, AnOrderIsStableAndByBytesOrNumbers) {
    struct Case {
        Arguments options;
        const char* ids;
    };
    for (const auto& [options, expected] : {
             Case{{}, "2 3 4 5 6 7 8 9 10"},
             Case{{"--sort", "release"}, "3 5 8 9 10 2 4 7 6"},
             Case{{"--sort", "release,desc"}, "6 2 4 7 3 5 8 9 10"},
             Case{{"--sort", "status"}, "5 2 7 8 9 10 3 6 4"},
             Case{{"--sort", "name"}, "8 10 3 7 5 2 4 6 9"},
             Case{{"--sort", "os", "--sort", "name,desc"}, "4 5 7 10 9 6 2 3 8"},
             Case{{"--limit", "3"}, "2 3 4"},
             Case{{"--limit", "0"}, ""},
             Case{{"--limit", "99"}, "2 3 4 5 6 7 8 9 10"},
             Case{{"--sort", "release,desc", "--limit", "2"}, "6 2"},
             Case{{"--filter", "status=0", "--limit", "2"}, "2 7"},
             Case{{"--no-properties", "--sort", "id,desc", "--limit", "2"}, "10 9"},
         })
        EXPECT_EQ(ids(options), expected) << ::testing::PrintToString(options);
}

TEST_P(Arranged, WhatIsNoFilterOrderOrLimitIsRefused) {
    struct Case {
        Arguments options;
        const char* reason;
    };
    for (const auto& [options, reason] : {
             Case{{"--filter", "colour=red"},
                  "no column 'colour'; the columns are id, name, os, osId, status, release"},
             Case{{"--filter", "osType=Unix"}, "no column 'osType'"}, // of `show`
             Case{{"--sort", "nam"}, "no column 'nam'"},
             Case{{"--columns", "id,,name"}, "no column ''"},
             Case{{"--no-properties", "--filter", "name=x"}, "the columns are id"},
             Case{{"--filter", "name"}, "'name'"},
             Case{{"--filter", "=x"}, "'=x'"},
             Case{{"--filter", "name!x"}, "'name!x'"},
             Case{{"--filter", "name<x"}, "name is a text"},
             Case{{"--filter", "status=two"}, "status is a number"},
             Case{{"--filter", "status="}, "status is a number"},
             Case{{"--filter", "status=1.0"}, "status is a number"},
             Case{{"--filter", "status~1"}, "status is a number"},
             Case{{"--filter", "status=99999999999999999999"}, "status is a number"},
             Case{{"--sort", "name,up"}, "'name,up'"},
             Case{{"--limit", "-1"}, "'-1'"},
             Case{{"--limit", "many"}, "'many'"},
         }) {
        Arguments line{"list", "clients"};
        line.insert(line.end(), options.begin(), options.end());
        fails(hub_->url(), line, 2, 771, reason);
        fails("sqlite:/no/such", line, 2, 771, reason); // before a database is asked
    }
    fails(hub_->url(), {"list", "backupsets", "--filter", "onDemand=true"}, 2, 771, "yes or no");
}

TEST_P(Arranged, AnEntityIsOneLineWhateverItsNameHolds) {
    EXPECT_EQ(printed({"list", "clients", "--filter", "id>=7", "--columns", "name,id"}),
              "NAME                    ID\n"
              "b,\"ü\"                    7\n"
              "-                        8\n"
              "two\\x0Alines\\x0D         9\n"
              " \\xE2\\x80\\xAE\\x1B[31m\\  10\n");
    EXPECT_EQ(printed({"list", "clients", "--filter", "id>=7", "--columns", "name,id", "--csv"}),
              "name,id\n"
              "\"b,\"\"ü\"\"\",7\n"
              ",8\n"
              "\"two\nlines\r\",9\n"
              " \xE2\x80\xAE\x1b[31m\\,10\n");
    EXPECT_EQ(printed({"show", "client", "8", "--csv"}),
              "id,name,os,osId,osType,status,release\n8,,Linux,1,Unix,0,9\n");
    EXPECT_EQ(printed({"list", "clients", "--columns", "name", "--filter", "id=8", "--csv"}), "name\n\"\"\n");
    const Json clients = json({"list", "clients"})["clients"];
    EXPECT_EQ(clients[7]["name"], "two\nlines\r");
    EXPECT_EQ(clients[8]["name"], " \u202E\x1b[31m\\");
    EXPECT_THAT(printed({"show", "client", "10"}), HasSubstr("\nname:     \\xE2\\x80\\xAE\\x1B[31m\\\n"));
    EXPECT_EQ(json({"show", "client", "two\nlines\r"})["client"]["id"], 9);
    EXPECT_THAT(printed({"list", "clients", "--json"}), HasSubstr("\n    {\"id\":2,\"name\":\"beta\","));
}

/// What a command writes to a terminal of so many columns; 0: it does not say.
class Terminal {
  public:
    explicit Terminal(unsigned short columns) {
        struct winsize size {
            24, columns, 0, 0
        };
        struct termios raw {};
        cfmakeraw(&raw);
        if (openpty(&ours_, &theirs_, nullptr, &raw, &size) != 0)
            throw std::runtime_error("no terminal");
    }
    ~Terminal() { close(ours_); }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    std::string shown(const std::string& url, Arguments arguments, const std::string& columns = "") {
        arguments.insert(arguments.begin(), VSDK_VCOMMAND_PATH);
        std::string text;
        std::thread reader([&] {
            char buffer[4096];
            for (ssize_t got = 0; (got = read(ours_, buffer, sizeof buffer)) > 0;)
                text.append(buffer, static_cast<std::size_t>(got));
        });
        const auto result =
            support::runProcess(arguments, {{"HUBDB_URL", url}, {"TZ", "UTC"}, {"COLUMNS", columns}}, theirs_);
        close(theirs_); // which ends the reader
        reader.join();
        EXPECT_EQ(result.exitCode, 0) << result.err;
        return text;
    }

  private:
    int ours_ = -1;
    int theirs_ = -1;
};

TEST_P(Arranged, OnATerminalALineFitsIt) {
    hub_->run("UPDATE APP_Client SET name = 'aé' || '東京' || 'e\xCC\x81\xCC\x81xyz and so on' WHERE id = 2;"
              "DELETE FROM APP_Client WHERE id > 4");
    const Arguments line{"list", "clients"};
    const std::string whole = "ID  NAME                  OS     STATUS  RELEASE\n"
                              " 2  aé東京e\xCC\x81\xCC\x81xyz and so on  Linux       0       15\n"
                              " 3  Beta                  Linux       2        9\n"
                              " 4  beta*                 BSD        10       15\n";
    EXPECT_EQ(printed(line), whole);
    struct Case {
        unsigned short width;
        const char* columns;
        std::string shown;
    };
    for (const auto& [width, columns, expected] : {
             Case{200, "10", whole},
             Case{48, "", whole},
             Case{0, "200", whole},
             Case{0, "nonsense", whole}, // 80
             Case{40, "200",
                  "ID  NAME          OS     STATUS  RELEASE\n"
                  " 2  aé東京e\xCC\x81\xCC\x81xyz …  Linux       0       15\n"
                  " 3  Beta          Linux       2        9\n"
                  " 4  beta*         BSD        10       15\n"},
             Case{0, "34",
                  "ID  NAME      OS     STATUS  RELE…\n"
                  " 2  aé東京e\xCC\x81\xCC\x81…  Linux       0      …\n"
                  " 3  Beta      Linux       2      …\n"
                  " 4  beta*     BSD        10      …\n"},
             Case{9, "", "ID  NAME…\n 2  aé東…\n 3  Beta…\n 4  beta…\n"},
             Case{8, "", "ID  NAM…\n 2  aé…\n 3  Bet…\n 4  bet…\n"}, // no half of a wide character
             Case{1, "", "…\n…\n…\n…\n"},
         })
        EXPECT_EQ(Terminal(width).shown(hub_->url(), line, columns), expected) << width << " " << columns;
    for (const Arguments& uncut : {Arguments{"list", "clients", "--json"}, Arguments{"list", "clients", "--csv"},
                                   Arguments{"show", "client", "2"}})
        EXPECT_EQ(Terminal(20).shown(hub_->url(), uncut), printed(uncut));
}

} // namespace

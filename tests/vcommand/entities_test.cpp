#include <fstream>

#include "vcommand/VcommandTest.h"

namespace {

INSTANTIATE_TEST_SUITE_P(Engines, SampleEstate, everyEngine(), &support::toolEngineName);

TEST_P(SampleEstate, EveryKindIsListedForAPerson) {
    struct Case {
        Arguments line;
        const char* table;
    };
    for (const auto& [line, table] : {
             Case{{"list", "clients"},
                  "ID  NAME              OS          STATUS  RELEASE\n"
                  " 2  mail01            Linux            0       15\n"
                  " 3  files-north       Linux            0       15\n"
                  " 4  db01              Linux            0       15\n"
                  " 5  Zürich-東京       Desktop OS       0       15\n"
                  " 6  vm-host           Hypervisor       0       15\n"
                  " 7  old.tape.library  BSD              0       15\n"},
             Case{{"list", "agenttypes", "--client", "2"},
                  "TYPE  NAME               STATUS\n"
                  "  12  Linux File System       0\n"
                  "   8  Mailbox                 0\n"
                  "   9  Mailbox Database        2\n"},
             Case{{"list", "instances", "--client", "db01"},
                  "AGENT TYPE  ID  NAME       STATUS  STORAGE POLICY  DESCRIPTION\n"
                  "         4   6  MAIN            0  -               the shop's databases\n"
                  "        46   7  documents       0  -               -\n"
                  "         6   8  directory       0  -               -\n"
                  "        22  11  LEDGER          0  short           -\n"},
             Case{{"list", "backupsets", "--client", "3"},
                  "AGENT TYPE  INSTANCE  ID  NAME              STATUS  LAST MODIFIED             ON DEMAND  "
                  "DESCRIPTION\n"
                  "        11         4   4  defaultBackupSet       0  Sat Jun  1 00:00:00 2024  no         -\n"
                  "        11         4   5  quarterly              0  Sat Jun  1 00:00:00 2024  yes        kept for "
                  "ten years\n"
                  "        25         5   6  archive                0  Sat Jun  1 00:00:00 2024  no         -\n"},
             Case{{"list", "subclients", "--client", "2"},
                  "AGENT TYPE  INSTANCE  BACKUP SET  ID  NAME     STATUS  STORAGE POLICY  CONTENT                      "
                  "                                 DATABASES  DESCRIPTION\n"
                  "        12         1           1   1  default       0  standard        /                            "
                  "                                 -          -\n"
                  "        12         1           1   2  spool         0  short           /var/spool                   "
                  "                                 -          -\n"
                  "         8         2           2   3  default       0  standard        Staff<-->alice; "
                  "Alice<-->Staff<-->alice; Bob<-->Staff<-->bob  -          -\n"
                  "         9         3           3   4  default       0  standard        First store\\store1          "
                  "                                  -          -\n"},
             Case{{"list", "mediaagents"},
                  "ID  NAME\n"
                  " 3  files-north\n"
                  " 6  vm-host\n"},
             Case{{"list", "storagepolicies"},
                  "ID  NAME   TYPE  INCREMENTAL POLICY  FLAGS\n"
                  " 2  short     1                   0      0\n"
                  " 3  long      1                   0      0\n"},
             Case{{"list", "snapshots", "--job", "103"},
                  "ID  SOURCE PATH      CREATED                   MOUNTED  MOUNT HOST   MOUNT PATH\n"
                  " 2  rack1/web/disk0  Fri May 31 23:30:00 2024  Yes      files-north  /mnt/snap2\n"
                  " 3  rack1/web/disk1  Fri May 31 23:31:00 2024  No       -            -\n"},
         })
        EXPECT_EQ(printed(line), table);
}

TEST_P(SampleEstate, EveryKindIsShownWithAllItsFields) {
    struct Case {
        Arguments line;
        const char* json;
    };
    for (const auto& [line, expected] : {
             Case{{"client", "db01"},
                  R"({"client": {"id": 4, "name": "db01", "os": "Linux", "osId": 1, "osType": "Unix",
                  "status": 0, "release": 15}})"},
             Case{{"agenttype", "Mailbox Database", "--client", "2"},
                  R"({"agentType": {"client": 2, "type": 9, "name": "Mailbox Database", "status": 2}})"},
             Case{{"instance", "11"}, R"({"instance": {"client": 4, "agentType": 22, "id": 11, "name": "LEDGER",
                  "status": 0, "storagePolicy": "short", "logStoragePolicy": "long", "description": ""}})"},
             Case{{"backupset", "quarterly"}, R"({"backupSet": {"client": 3, "agentType": 11, "instance": 4, "id": 5,
                  "name": "quarterly", "status": 0, "lastModified": 1717200000, "onDemand": true,
                  "description": "kept for ten years"}})"},
             Case{{"subclient", "9"}, R"({"subclient": {"client": 4, "agentType": 4, "instance": 6, "backupSet": 7,
                  "id": 9, "name": "default", "status": 0, "storagePolicy": "standard", "storagePolicyId": 1,
                  "indexStoragePolicyId": 1, "subclientPolicyId": 0, "backupSetModified": 1717200000, "dataReaders": 4,
                  "networkAgents": 2, "compression": 1, "activity": 513, "content": [],
                  "databases": [{"id": 5, "name": "orders"}, {"id": 6, "name": "customers"}], "description": ""}})"},
             Case{{"mediaagent", "vm-host"}, R"({"mediaAgent": {"id": 6, "name": "vm-host"}})"},
             Case{{"storagepolicy", "long"}, R"({"storagePolicy": {"id": 3, "name": "long", "type": 1,
                  "incrementalPolicy": 0, "flags": 0}})"},
             Case{{"snapshot", "2", "--job", "103"}, R"({"snapshot": {"hubCell": 2, "job": 103, "id": 2,
                  "sourcePath": "rack1/web/disk0", "created": "Fri May 31 23:30:00 2024", "creationTime": 1717198200,
                  "mounted": "Yes", "mountHost": "files-north", "mountPath": "/mnt/snap2"}})"},
         }) {
        Arguments command{"show"};
        command.insert(command.end(), line.begin(), line.end());
        EXPECT_EQ(json(command), Json::parse(expected)); // in this order
    }
    EXPECT_EQ(printed({"show", "subclient", "3"}), "client:               2\n"
                                                   "agentType:            8\n"
                                                   "instance:             2\n"
                                                   "backupSet:            2\n"
                                                   "id:                   3\n"
                                                   "name:                 default\n"
                                                   "status:               0\n"
                                                   "storagePolicy:        standard\n"
                                                   "storagePolicyId:      1\n"
                                                   "indexStoragePolicyId: 1\n"
                                                   "subclientPolicyId:    0\n"
                                                   "backupSetModified:    Sat Jun  1 00:00:00 2024\n"
                                                   "dataReaders:          0\n"
                                                   "networkAgents:        2\n"
                                                   "compression:          1\n"
                                                   "activity:             513\n"
                                                   "content:              Staff<-->alice\n"
                                                   "content:              Alice<-->Staff<-->alice\n"
                                                   "content:              Bob<-->Staff<-->bob\n"
                                                   "databases:            -\n"
                                                   "description:          -\n");
    EXPECT_EQ(printed({"show", "mediaagent", "3", "--csv"}), "id,name\n3,files-north\n");
}

TEST_P(SampleEstate, TheExamplesOfTheManualWork) {
    std::ifstream manual(VSDK_SOURCE_DIR "/docs/vcommand.md");
    const std::string tools = VSDK_VCOMMAND_PATH;
    int examples = 0;
    for (std::string line; std::getline(manual, line);) {
        if (!line.starts_with("    vcommand "))
            continue;
        const auto result = support::runProcess(
            {"/bin/sh", "-c", line}, {{"HUBDB_URL", hub_->url()}, {"PATH", tools.substr(0, tools.rfind('/'))}});
        EXPECT_EQ(result.exitCode, 0) << line << "\n" << result.err;
        EXPECT_GE(std::ranges::count(result.out, '\n'), 2) << line << "\n" << result.out; // titles and an entity
        ++examples;
    }
    EXPECT_GT(examples, 15);
}

TEST_P(SampleEstate, AnEntityIsFoundAgainByTheIdsThatItsListShows) {
    struct Case {
        Arguments list;
        std::string noun;
        std::size_t leftOut = 0; ///< of the list with properties
    };
    for (const auto& [list, noun, leftOut] : {
             Case{{"list", "clients"}, "client"},
             Case{{"list", "agenttypes", "--client", "4"}, "agenttype"},
             Case{{"list", "instances"}, "instance"},
             Case{{"list", "backupsets"}, "backupset"},
             Case{{"list", "subclients"}, "subclient", 1},
             Case{{"list", "mediaagents"}, "mediaagent"},
             Case{{"list", "storagepolicies"}, "storagepolicy"},
             Case{{"list", "snapshots", "--job", "103"}, "snapshot"},
         }) {
        SCOPED_TRACE(noun);
        const Json all = std::prev(json(list).end()).value(); // behind the scope
        Arguments bare = list;
        bare.emplace_back("--no-properties");
        const Json ids = std::prev(json(bare).end()).value();
        ASSERT_FALSE(all.empty());
        EXPECT_EQ(ids.size(), all.size() + leftOut);
        for (const Json& entity : {all.front(), all.back()}) {
            Json only = Json::object();
            for (const auto& [name, value] : ids[0].items())
                only[name] = entity[name];
            EXPECT_THAT(ids, ::testing::Contains(only));
            EXPECT_LT(only.size(), entity.size());

            Arguments show{"show", noun, std::prev(only.end()).value().dump()};
            show.insert(show.end(), list.begin() + 2, list.end());
            Json shown = json(show).begin().value();
            shown.erase("osType");
            EXPECT_EQ(shown, entity);
        }
    }
}

TEST_P(SampleEstate, AScopeIsWhatItsOptionsSay) {
    struct Case {
        Arguments line;
        const char* ids;
    };
    for (const auto& [line, expected] : {
             Case{{"instances"}, "1 2 3 4 5 6 7 8 11 9 10 12"},
             Case{{"instances", "--client", "2"}, "1 2 3"},
             Case{{"instances", "--client=1"}, ""},
             Case{{"instances", "--agenttype", "Mailbox"}, "2"},
             Case{{"instances", "--client", "7"}, "12"}, // of no agent type
             Case{{"instances", "--agenttype", "-1"}, "12"},
             Case{{"instances", "--instance", "directory"}, "8"}, // the name before its separator
             Case{{"backupsets", "--client", "3", "--agenttype", "11"}, "4 5"},
             Case{{"backupsets", "--instance", "archiver"}, "6"},
             Case{{"backupsets", "--instance", "5"}, "6"},
             Case{{"subclients", "--client", "3"}, "5 7 8"},
             Case{{"subclients", "--client", "3", "--all"}, "5 6 7 8"},
             Case{{"subclients", "--client", "3", "--no-properties"}, "5 6 7 8"},
             Case{{"subclients", "--backupset", "quarterly"}, "7"},
             Case{{"subclients", "--backupset", "4", "--all"}, "5 6"},
             Case{{"subclients", "--client", "mail01", "--agenttype", "12", "--instance", "DefaultInstance",
                   "--backupset", "defaultBackupSet", "--subclient", "spool"},
                  "2"},
             Case{{"subclients", "--subclient", "retired"}, "6"}, // asked for, so not left out
             Case{{"subclients", "--subclient", "6"}, "6"},
             Case{{"subclients", "--agenttype", "12", "--subclient", "default"}, "1"},
             Case{{"subclients", "--instance", "12"}, "16"},
             Case{{"snapshots", "--job", "102"}, "1"},
             Case{{"snapshots", "--job", "103", "--hubcell", "2"}, "2 3"},
             Case{{"snapshots", "--job", "103", "--hubcell", "3"}, ""},
             Case{{"snapshots", "--job", "77"}, ""},
             Case{{"mediaagents", "--mediaagent", "1"}, "1"}, // which only the list leaves out
             Case{{"storagepolicies", "--storagepolicy", "1"}, "1"},
         }) {
        Arguments command{"list"};
        command.insert(command.end(), line.begin(), line.end());
        EXPECT_EQ(column("id", command), expected) << ::testing::PrintToString(line);
    }
    EXPECT_EQ(json({"list", "subclients", "--agenttype", "Mailbox", "--instance", "2"})["agentType"],
              Json::parse(R"({"type": 8, "name": "Mailbox"})"));
    EXPECT_EQ(json({"list", "subclients", "--agenttype", "Mailbox", "--instance", "2"})["instance"],
              Json::parse(R"({"id": 2, "name": "mailboxes"})"));
    EXPECT_EQ(json({"list", "snapshots", "--job", "77"}), Json::parse(R"({"hubCell": 2, "job": 77, "snapshots": []})"));
}

TEST_P(SampleEstate, WhatIsNotThereOrNotOneIsTold) {
    struct Case {
        Arguments line;
        int exitCode;
        const char* reason;
    };
    for (const auto& [line, exitCode, reason] : {
             Case{{"show", "client", "list"}, 3, "no client named 'list'"},
             Case{{"show", "client", "99"}, 3, "no client with the id 99"},
             Case{{"show", "agenttype", "8", "--client", "3"}, 3, "no agent type with the id 8"},
             Case{{"list", "instances", "--client", "2", "--agenttype", "11"}, 3, "no agent type with the id 11"},
             Case{{"list", "instances", "--client", "2", "--agenttype", "-1"}, 3, "no agent type with the id -1"},
             Case{{"show", "instance", "2", "--client", "3"}, 3, "no instance with the id 2"},
             Case{{"show", "instance", "main"}, 3, "no instance named 'main'"},
             Case{{"show", "backupset", "77"}, 3, "no backup set with the id 77"},
             Case{{"show", "subclient", "77"}, 3, "no subclient with the id 77"},
             Case{{"show", "subclient", "spool", "--client", "3"}, 3, "no subclient named 'spool'"},
             Case{{"show", "mediaagent", "2"}, 3, "no media agent with the id 2"},
             Case{{"show", "storagepolicy", "Long"}, 3, "no storage policy named 'Long'"},
             Case{{"show", "snapshot", "1", "--job", "103"}, 3, "no snapshot with the id 1"},
             Case{{"list", "subclients", "--client", "2", "--backupset", "defaultBackupSet"}, 4, "the ids 1, 2, 3"},
             Case{{"list", "backupsets", "--instance", "DefaultInstance"}, 4, "the ids 1, 4, 9, 12"},
             Case{{"show", "subclient", "default", "--client", "2"}, 4, "the ids 1, 3, 4"},
         })
        fails(hub_->url(), line, exitCode, 771, reason);

    hub_->run("INSERT INTO APP_IDAName (clientId, appTypeId, status) VALUES (3, 8, 0)");
    fails(hub_->url(), {"show", "agenttype", "Mailbox"}, 4, 771, "client 2 and of client 3");
    EXPECT_EQ(json({"show", "agenttype", "Mailbox", "--client", "3"})["agentType"]["client"], 3);
}

TEST_P(SampleEstate, WhatHasHolesIsListedWithWhatIsThere) {
    hub_->run("DELETE FROM APP_BackupSetName WHERE id = 5; DELETE FROM APP_InstanceName WHERE id = 6;"
              "DELETE FROM APP_IDAName WHERE id = 11; DELETE FROM APP_Client WHERE id = 6;"
              "UPDATE APP_Client SET simOperatingSystemId = 99 WHERE id = 7");
    EXPECT_EQ(json({"list", "backupsets", "--instance", "4"})["backupSets"][1], Json::parse(R"({"client": 3,
        "agentType": 11, "instance": 4, "id": 5, "name": "", "status": 0, "lastModified": 0, "onDemand": false,
        "description": ""})"));
    EXPECT_EQ(column("name", {"list", "mediaagents"}), "files-north \"\"");
    EXPECT_EQ(column("name", {"list", "subclients", "--backupset", "5"}), "accounts");

    // One entity of which something is missing is shown, and is a failure.
    struct Case {
        Arguments line;
        int code;
        const char* name;
    };
    for (const auto& [line, code, name] : {
             Case{{"show", "client", "7"}, 1280, "old.tape.library"},
             Case{{"show", "instance", "6"}, 1282, ""},
             Case{{"show", "backupset", "5"}, 1283, ""},
             Case{{"show", "subclient", "accounts"}, 1284, "accounts"},
             Case{{"show", "mediaagent", "6"}, 1286, ""},
         }) {
        SCOPED_TRACE(::testing::PrintToString(line));
        Arguments command = line;
        const auto plain = run(command);
        EXPECT_EQ(plain.exitCode, 1);
        EXPECT_THAT(plain.out, HasSubstr("name: "));
        EXPECT_THAT(plain.err, HasSubstr("error " + std::to_string(code)));
        command.emplace_back("--json");
        const auto asJson = run(command);
        EXPECT_EQ(asJson.exitCode, 1);
        const Json answer = document(asJson);
        EXPECT_EQ(answer.begin().value()["name"], name);
        EXPECT_EQ(answer["error"]["code"], code);
    }
}

TEST_P(SampleEstate, ADatabaseThatFailsInAListDoesNotShortenIt) {
    struct Case {
        std::string missing;
        Arguments line;
        int code;
    };
    for (const auto& [missing, line, code] : {
             Case{"SimOperatingSystem", {"list", "clients"}, 1280},
             Case{"APP_Client", {"show", "client", "2"}, 1280},
             Case{"APP_iDAType", {"list", "agenttypes"}, 1281},
             Case{"APP_IDAName", {"list", "subclients"}, 1281},
             Case{"APP_InstanceProp", {"list", "instances"}, 1282},
             Case{"APP_InstanceName", {"show", "instance", "2"}, 1282},
             Case{"APP_BackupSetProp", {"list", "backupsets"}, 1283},
             Case{"APP_Application", {"list", "backupsets", "--instance", "2"}, 1282},
             Case{"ArchPipeConfig", {"list", "subclients"}, 1284},
             Case{"ArchPipeConfig", {"show", "subclient", "2"}, 1284},
             Case{"MMHost", {"list", "mediaagents"}, 1286},
             Case{"APP_Client", {"list", "mediaagents"}, 1286},
             Case{"ArchGroup", {"list", "storagepolicies"}, 1287},
             Case{"SMVolume", {"list", "snapshots", "--job", "103"}, 326},
             Case{"APP_Client", {"list", "snapshots", "--job", "103"}, 326},
         }) {
        hub_->run("ALTER TABLE " + missing + " RENAME TO missing");
        fails(hub_->url(), line, 1, code, missing);
        hub_->run("ALTER TABLE missing RENAME TO " + missing);
        EXPECT_EQ(run(line).exitCode, 0) << ::testing::PrintToString(line);
    }

    // In the middle of a list, when the first of it were read.
    hub_->run((onServer() ? "ALTER TABLE ArchPipeConfig ALTER COLUMN compressWhere TYPE bigint;"
                          : "PRAGMA ignore_check_constraints = ON;") +
              std::string("UPDATE ArchPipeConfig SET compressWhere = 9999999999 WHERE appNumber = 7"));
    EXPECT_EQ(column("id", {"list", "subclients", "--client", "2"}), "1 2 3 4");
    fails(hub_->url(), {"list", "subclients"}, 1, 1284, "compressWhere");
    fails(hub_->url(), {"list", "subclients", "--client", "3"}, 1, 1284, "compressWhere");
    const auto csv = run({"list", "subclients", "--csv"});
    EXPECT_EQ(csv.exitCode, 1);
    EXPECT_EQ(csv.out, "");
}

} // namespace

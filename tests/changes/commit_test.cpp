#include "changes/ChangesTest.h"

// What a commit writes, and what it refuses.

namespace {

using Subclient = VSDK_Subclient;

// Rows as they are afterwards.
const std::string set = "B:|6|1000 ";
const std::string papers = "P:|11|User_Description|1|papers|NULL|1000 ";
const std::string none = "+P:|11|User_Description|1||1000|0 ";
const std::string two = "P:|11|Number_of_Data_Readers|2|2|NULL|1000 ";
const std::string five = "+P:|11|Number_of_Data_Readers|2|5|1000|0 ";

ENGINE_TEST(Commits, ChangesTest, ::testing::Bool());

TEST_P(Commits, WriteWhatDiffersOrNothing) {
    const std::string more = "F:|11|1|/more|NULL|1000 ";
    const std::string noA = "P:|12|a|118|1|NULL|1000 ";
    const std::string noB = "P:|12|b|118|2|NULL|1000 ";
    const std::string sql = "S:|12|7|8|1000 " + set;
    const Stage most = all({files({"/docs"}), dataPolicy(9), indexPolicy(7), description("")});
    const std::string nul("a\0b", 3);
    const std::tuple<int, Stage, int, std::string> cases[] = {
        {11, files({}), 0, set + "F:|11|1|/docs|NULL|1000 " + more},
        {11, files({"/more", "/docs"}), 0, ""}, // their order is none
        {11, files({"/new", "/docs", "/new", "/Docs"}), 0, set + more + "+F:|11|1|/new|1000|0 +F:|11|1|/Docs|1000|0 "},
        {11, files({"/old", "/docs/tmp", "/docs", "/more"}), 0, // neither what was nor what is left out is content
         set + "+F:|11|1|/old|1000|0 +F:|11|1|/docs/tmp|1000|0 "},
        {12, databases({{2, "b"}, {7, "c"}, {3, "B"}}), 0, sql + noA + "+P:|12|c|118|7|1000|0 +P:|12|B|118|3|1000|0 "},
        {12, databases({{2, "b"}, {1, "a"}}), 0, sql},
        {12, databases({{2, "b"}, {-9, "a"}}), 0, sql + noA + "+P:|12|a|118|-9|1000|0 "},
        {12, databases({}), 0, sql + noA + noB},
        {12, databases({{7, "c"}, {1, "a"}, {2, "b"}, {8, "c"}}), 0, sql + "+P:|12|c|118|8|1000|0 "},
        {12, databases({{2, "b"}, {1, "a"}, {4, "m"}}), 0, sql + "+P:|12|m|118|4|1000|0 "},
        {12, all({databases({{2, "b"}, {1, "a"}, {4, "User Description"}}), description("d")}), 0,
         sql + "+P:|12|User_Description|118|4|1000|0 +P:|12|User_Description|1|d|1000|0 "},
        {11, dataPolicy(9), 0, "S:|11|9|8|0 " + set},
        {11, dataPolicy(7), 0, "S:|11|7|8|0 " + set},
        {11, indexPolicy(7), 0, "S:|11|7|7|500 " + set},
        {11, indexPolicy(8), 0, ""},
        {11, description(""), 0, set + papers + none},
        {10, description(""), 0, ""},
        {13, description("\xC3\x84'%d"), 0, set + "+P:|13|User_Description|1|\xC3\x84'%d|1000|0 "},
        {11, readers(5), 0, set + two + five},
        {11, readers(2), 0, ""},
        {11, readers(0), 0, ""},
        {13, readers(1), 0, set + "+P:|13|Number_of_Data_Readers|2|1|1000|0 "},
        {11, all({most, readers(5)}), 0, "S:|11|9|7|0 " + set + more + papers + two + none + five},
        {12, all({databases({}), dataPolicy(7)}), 0, "S:|12|7|8|0 " + set + noA + noB},
        // What is refused takes with it what was written before.
        {11, all({most, readers(-1)}), 1801, ""},
        {11, all({most, description(nul), readers(5)}), 1800, ""},
        {11, all({most, indexPolicy(99)}), 1540, ""},
        {11, all({most, indexPolicy(0)}), 1540, ""},
        {11, all({most, indexPolicy(-7)}), 1540, ""},
        {11, all({most, dataPolicy(99)}), 1539, ""},
        {11, all({most, dataPolicy(0)}), 1539, ""},
        {11, all({most, dataPolicy(-7)}), 1539, ""},
        {11, files({"/new", "/" + nul}), 1538, ""},
        {11, files({"/new", "/\xFF"}), 1538, ""},
        {11, [](Subclient& one) { one.SetContent(nullptr); }, 1538, ""},
        {12, databases({{7, "c"}, {8, nul}}), 1800, ""},
        {12, databases({{7, "c"}, {8, "\xC3"}}), 1800, ""},
        {12, databases({{7, "c"}, {8, std::string(2049, 'x')}}), 1800, ""},
        {13, all({dataPolicy(9), files({"/x"})}), 1548, ""},
        // Without checks, of an object that was not read either. Its description is staged at all times.
        {-11, all({}), 0, set + papers + none},
        {-11, readers(5), 0, set + papers + two + none + five},
        {-11, all({readers(5), description("papers")}), 0, set + two + five},
        {-13, dataPolicy(9), 0, "S:|13|9|8|0 " + set},
        {-11, all({files({"/x"}), dataPolicy(9)}), 1548, ""},
        {-12, databases({}), 1548, ""},
        {-99, all({}), 1800, ""},
        {-99, dataPolicy(9), 1542, ""},
        {-99, indexPolicy(9), 1542, ""}};
    for (const auto& [id, stage, code, written] : cases) {
        reset();
        const auto before = state();
        Subclient one = id > 0 ? staged(id, stage) : Subclient(-id);
        stage(one);
        EXPECT_EQ(one.Commit(true), code) << written;
        EXPECT_EQ(one.commitOutcome, code == 0 ? Outcome::kDone : Outcome::kNotDone);
        EXPECT_EQ(one.transaction, nullptr);
        EXPECT_EQ(changesOf(before), written);
    }
}

TEST_P(Commits, MoveTheSetsTimeOnce) {
    for (const auto& [before, after] :
         {std::pair{"NULL", "1000"}, {"-5", "1000"}, {"999", "1000"}, {"1000", "1001"}, {"4294967373", "4294967374"}}) {
        reset();
        hub_->run(std::string("UPDATE APP_BackupSetName SET modified = ") + before);
        const Stage stage = all({files({"/a"}), dataPolicy(9), indexPolicy(9), description("x"), readers(5)});
        Subclient one = staged(11, stage);
        EXPECT_EQ(one.Commit(false), 0);
        EXPECT_EQ(hub_->ask("SELECT modified FROM APP_BackupSetName"), after) << before;
        EXPECT_EQ(one.Commit(false), 1794) << "its own change";
        EXPECT_EQ(one.commitOutcome, Outcome::kNone);
    }
}

TEST_P(Commits, WriteWhatTheAgentTypeHasForContent) {
    const std::string paths = set + "+F:|10|1|/x|1000|0 ";
    const std::string names = "S:|10|7|8|1000 " + set + "+P:|10|d|118|1|1000|0 ";
    const std::pair<std::string, std::vector<const char*>> kinds[] = {
        {paths, {"1",  "11", "12", "13", "17", "18", "19", "20", "21", "29", "33",  "34",
                 "36", "38", "42", "43", "63", "64", "74", "86", "88", "-1", "NULL"}},
        {names, {"4", "16", "70", "81"}},
        {"", {"0", "2", "3", "5", "8", "9", "14", "16777249", "22", "65", "-2"}}};
    const Stage stage = all({databases({{1, "d"}}), files({"/", "/x"})});
    for (const auto& [written, types] : kinds)
        for (const std::string type : types) {
            reset();
            hub_->run("UPDATE APP_Application SET appTypeId = " + type);
            const auto before = state();
            Subclient one = read(10);
            EXPECT_EQ(one.Commit(false), 0) << type;
            EXPECT_EQ(changesOf(before), "");
            stage(one);
            EXPECT_EQ(one.Commit(false), written.empty() ? 1548 : 0) << type;
            EXPECT_EQ(changesOf(before), written) << type;
        }
}

TEST_P(Commits, ReadWhatIsStagedWhenTheyWrite) {
    Paths paths{"/early"};
    Subclient one = staged(11, dataPolicy(9));
    one.SetContent(&paths);
    paths = {"/docs", "/more", "/late"};
    for (int again = 0; again < 2; ++again) {
        const auto before = state();
        EXPECT_EQ(one.Commit(true), 0);
        EXPECT_EQ(changesOf(before), "S:|11|9|8|0 B:|6|1000 +F:|11|1|/late|1000|0 ");
        reset();
    }
    const auto before = state();
    for (const auto& [step, code] : {std::pair{&Subclient::CommitContent, 1538},
                                     {&Subclient::CommitDataStoragePolicy, 1539},
                                     {&Subclient::CommitDescription, 1800},
                                     {&Subclient::CommitDataReaders, 1801}})
        EXPECT_EQ((one.*step)(), code) << "outside a commit";
    EXPECT_EQ(changesOf(before), "");
}

} // namespace

#include <limits>

#include "Db/Tbl/HubTables.h"
#include "scope/ScopeTest.h"

namespace {

SCOPE_TEST(ScopedFilters, ::testing::Bool());

constexpr int kFirst = -1; // asked for: from here to kLast
constexpr int kLast = 14;

/// Subclients with these ids, of which 5 is missing; to each properties, controls and transfer settings, with gaps.
const std::vector<int> kVisited{0, 1, 2, 3, 4, 5, 6, 7, 8, 11};

std::string estateOfFilters() {
    std::string sql;
    for (const int id : {-1, 0, 1, 2, 3, 4, 6, 7, 8, 9, 11, 12}) {
        const std::string n = std::to_string(id);
        sql += "INSERT INTO APP_Application (id, clientId, appTypeId, instance, backupSet, dataArchGrpID, "
               "logArchGrpID, subclientName, subclientStatus) VALUES (" +
               n + ", " + std::to_string(id % 3) + ", " + (id % 4 == 0 ? "NULL" : std::to_string(id % 4)) + ", " +
               std::to_string(id / 3) + ", " + std::to_string(id % 5) + ", " + (id == 3 ? "NULL" : "2") + ", " + n +
               ", 'it''s " + n + " or id=1', " + std::to_string(id & 7) + ");";
        for (int p = 0; p < id % 4; ++p)
            sql += "INSERT INTO APP_SubClientProp (componentNameId, attrName, attrType, attrVal, modified, ccpId) "
                   "VALUES (" +
                   n + ", '" + (p % 2 == 0 ? "User Description" : "it''s") + "', " +
                   (p == 1 ? "NULL" : std::to_string(118 - p)) + ", " + (p == 2 ? "NULL" : "'v" + n + "'") + ", " +
                   (p == 0 ? "0" : "1700000000") + ", " + n + ");";
        for (int op : {4, 57})
            if ((id + op) % 3 != 0)
                sql += "INSERT INTO JMActivityControl VALUES (" + n + ", " + std::to_string(op) + ", 1);";
        if (id % 2 == 0)
            sql += "INSERT INTO ArchPipeConfig VALUES (" + n + ", 1, NULL, 3);";
        sql += "INSERT INTO APP_BackupSetName (id, name) VALUES (" + std::to_string(id + 20) + ", 'set');";
    }
    return sql + "INSERT INTO APP_BackupSetName (id, name) VALUES (1, 'one'), (2, 'two'), (4, 'four');";
}

/// A filter, and whether getOneRow's and getNextRow's reads with it are answered from sets.
template <class Accessor> struct FilterCase {
    void (*ask)(Accessor&, int id);
    bool one;
    bool all;
};
constexpr bool kSets = true;
constexpr bool kSingly = false; ///< or from sets that few reads share

template <class Accessor> std::string firstRow(void (*ask)(Accessor&, int), int id) {
    Accessor reader(nullptr);
    ask(reader, id);
    const int status = getOneRow(&reader, false, -1, 0);
    return status == 0 ? rowText(reader) : std::to_string(status);
}
template <class Accessor> std::string allRows(void (*ask)(Accessor&, int), int id) {
    Accessor reader(nullptr);
    ask(reader, id);
    std::string text;
    int state = 0;
    int status = 0;
    while ((status = getNextRow(&reader, &state, -1, 0)) == 0)
        text += rowText(reader) + "\n";
    return text + std::to_string(status) + std::to_string(getNextRow(&reader, &state, -1, 0));
}

/// Reads everything twice within one scope, or without.
template <class Accessor>
std::string answers(std::string (*read)(void (*)(Accessor&, int), int), void (*ask)(Accessor&, int)) {
    hubdb::ReadScope scope;
    scope.visit(APP_Application_t2::kRow, kVisited);
    APP_Application own(nullptr); // what these refer to is foreseen from here on
    own.setWhere("id=%d", 1);
    (void)getOneRow(&own, false, -1, 0);
    std::string text;
    for (int times = 0; times < 2; ++times)
        for (int id = kFirst; id <= kLast; ++id)
            text += std::to_string(id) + ": " + read(ask, id) + "\n";
    return text;
}

template <class Accessor, class Cases> void expectAnswers(const Cases& cases, auto outcomeOf, auto singleOf) {
    for (std::size_t i = 0; const FilterCase<Accessor>& each : cases) {
        SCOPED_TRACE(Accessor(nullptr).declaration().name + std::string(" case ") + std::to_string(i++));
        for (const bool one : {true, false}) {
            SCOPED_TRACE(one ? "getOneRow" : "getNextRow");
            const auto reads = [&] {
                return answers<Accessor>(one ? &firstRow<Accessor> : &allRows<Accessor>, each.ask);
            };
            const Outcome singles = singleOf(reads);
            const Outcome sets = outcomeOf(reads);
            EXPECT_EQ(sets.text, singles.text);
            EXPECT_EQ(sets.failure, singles.failure);
            if (one ? each.one : each.all) {
                EXPECT_LT(sets.statements, 20U) << "of " << singles.statements;
            }
        }
    }
}

TEST_P(ScopedFilters, FindWhatSingleReadsFind) {
    hub_->run(estateOfFilters());
    const auto sets = [](const Reads& reads) { return outcome(reads); };
    const auto singles = [](const Reads& reads) { return single(reads); };
    using Prop = APP_SubClientProp;
    const FilterCase<Prop> properties[] = {
        {[](Prop& p, int id) { p.setWhere("componentNameId=%d", id); }, kSets, kSets},
        {[](Prop& p, int id) { p.setWhere("  COMPONENTNAMEID  =  %d  ", id); }, kSets, kSets},
        {[](Prop& p, int id) { p.setWhere("componentNameId=%d and attrType=118 and modified=0", id); }, kSets, kSets},
        {[](Prop& p, int id) { p.setWhere("modified=0 AND componentNameId = %d", id); }, kSets, kSets},
        {[](Prop& p, int id) { p.setWhere("modified=0 and componentNameId=%dAND attrType is not null", id); }, kSets,
         kSets},
        {[](Prop& p, int id) { p.setWhere("componentNameId=%d and attrName = 'it''s'", id); }, kSets, kSets},
        {[](Prop& p, int id) { p.setWhere("attrName='x or ''and'' id=1' and componentNameId=%d", id); }, kSets, kSets},
        {[](Prop& p, int id) { p.setWhere("attrName like 'User%%' and componentNameId=%d", id); }, kSets, kSets},
        {[](Prop& p, int id) { p.setWhere("componentNameId=%d and attrVal like 'v%%'", id); }, kSets, kSets},
        {[](Prop& p, int id) { p.setWhere("componentNameId=%d and (attrType=118 or attrType=116)", id); }, kSingly,
         kSingly},
        {[](Prop& p, int id) { p.setWhere("componentNameId=%d and attrType in (118, 116)", id); }, kSets, kSets},
        {[](Prop& p, int id) { p.setWhere("not attrType=118 and componentNameId=%d", id); }, kSets, kSets},
        {[](Prop& p, int id) { p.setWhere("not componentNameId=%d and id<4", id); }, kSingly, kSingly},
        {[](Prop& p, int id) { p.setWhere("(componentNameId=%d)", id); }, kSingly, kSingly},
        {[](Prop& p, int id) { p.setWhere("%d=componentNameId", id); }, kSingly, kSingly},
        {[](Prop& p, int id) { p.setWhere("componentNameId=%d+0", id); }, kSingly, kSingly},
        {[](Prop& p, int id) { p.setWhere("componentNameId=-%d", -id); }, kSingly, kSingly},
        {[](Prop& p, int id) { p.setWhere("componentNameId>=%d and componentNameId<%d", id, id + 2); }, kSingly,
         kSingly},
        {[](Prop& p, int id) { p.setWhere("componentNameId between %d and %d", id, id + 1); }, kSingly, kSingly},
        {[](Prop& p, int id) { p.setWhere("attrType=118 or componentNameId=%d", id); }, kSingly, kSingly},
        {[](Prop& p, int id) { p.setWhere("componentNameId=%d or componentNameId=%d", id, 3); }, kSingly, kSingly},
        {[](Prop& p, int id) { p.setWhere("componentNameId=%d and attrName='%s'", id, "it's"); }, kSingly, kSingly},
        {[](Prop& p, int id) { p.setWhere("componentNameId=%d and attrType=118 or attrType=116", id); }, kSingly,
         kSingly},
        {[](Prop& p, int id) { p.setWhere("attrType=116 OR componentNameId=%d AND modified=0", id); }, kSingly,
         kSingly},
        {[](Prop& p, int id) { p.setWhere("componentNameId=%d and componentNameId=%d", id, id); }, kSingly, kSingly},
        {[](Prop& p, int id) { p.setWhere("componentNameId=%d and componentNameId=%d", id, 3); }, kSingly, kSets},
        {[](Prop& p, int id) { p.setWhere("componentNameId=%d and componentNameId=%d", 3, id); }, kSingly, kSingly},
        {[](Prop& p, int id) { p.setWhere("componentNameId=%d and ccpId=%d", id, id % 2 + 2); }, kSets, kSets},
        {[](Prop& p, int id) { p.setWhere("componentNameId=%lld", static_cast<long long>(id)); }, kSets, kSets},
        {[](Prop& p, int id) { p.setWhere("componentNameId=%lld", id + (1LL << 32)); }, kSingly, kSingly},
        {[](Prop& p, int id) { p.setWhere("componentNameId=%u", static_cast<unsigned>(id)); }, kSets, kSets},
        {[](Prop& p, int id) {
             p.setWhere("componentNameId=%d and modified=%lld", id, id % 2 == 0 ? 0LL : 1700000000LL);
         },
         kSets, kSets},
        {[](Prop& p, int id) { p.setWhere("componentNameId=%d and created is null", id); }, kSets, kSets},
        {[](Prop& p, int id) { p.setWhere("componentNameId=%d and 3=3", id); }, kSets, kSets},
        {[](Prop& p, int id) { p.setWhere("id=%d", id); }, kSingly, kSingly},
        {[](Prop& p, int id) { p.setWhere("componentNameId=%d and nosuch=1", id); }, kSingly, kSingly},
        {[](Prop& p, int id) { p.setWhere("componentNameId=%d and", id); }, kSingly, kSingly},
        {[](Prop& p, int id) {
             p.setOrderBy("attrName DESC, id");
             p.setWhere("componentNameId=%d", id);
         },
         kSingly, kSets},
        {[](Prop& p, int id) {
             p.setOrderBy("attrType, attrVal DESC, id DESC");
             p.setWhere("componentNameId=%d", id);
         },
         kSingly, kSets},
        {[](Prop& p, int id) {
             p.setOrderBy("componentNameId, id DESC");
             p.setWhere("componentNameId=%d and modified=%d", id, 0);
         },
         kSingly, kSets},
        {[](Prop& p, int id) {
             p.setOrderBy("id; drop");
             p.setWhere("componentNameId=%d", id);
         },
         kSingly, kSingly},
    };
    expectAnswers<Prop>(properties, sets, singles);

    using App = APP_Application;
    const FilterCase<App> applications[] = {
        {[](App& a, int id) { a.setWhere("id=%d", id); }, kSets, kSets},
        {[](App& a, int id) { a.setWhere("id=%d and subclientStatus=3", id); }, kSets, kSets},
        {[](App& a, int id) { a.setWhere("id=%d and clientId=%d", id, id % 3); }, kSets, kSets},
        {[](App& a, int id) { a.setWhere("clientId=%d and id=%d", id % 2, id); }, kSets, kSets},
        {[](App& a, int id) { a.setWhere("clientId=%d", id); }, kSingly, kSingly},
        {[](App& a, int id) { a.setWhere("appTypeId=%d and subclientStatus=1", id); }, kSingly, kSingly},
        {[](App& a, int id) { a.setWhere("logArchGrpID=%d", id); }, kSets, kSets},
        {[](App& a, int id) { a.setWhere("dataArchGrpID=%d and logArchGrpID=%d", 2, id); }, kSets, kSets},
        {[](App& a, int id) { a.setWhere("subclientName like 'it%%' and id=%d", id); }, kSets, kSets},
        {[](App& a, int id) { a.setWhere("subclientName='it''s 3 or id=1' and id=%d", id); }, kSets, kSets},
        {[](App& a, int id) { a.setWhere("id=%d or subclientName='it''s 3 or id=1'", id); }, kSingly, kSingly},
    };
    expectAnswers<App>(applications, sets, singles);

    using Control = JMActivityControl;
    const FilterCase<Control> controls[] = {
        {[](Control& c, int id) { c.setWhere("subclientId=%d and opType=%d", id, 57); }, kSets, kSets},
        {[](Control& c, int id) { c.setWhere("opType=4 and subclientId=%d", id); }, kSingly, kSets},
        {[](Control& c, int id) { c.setWhere("subclientId=%d", id); }, kSingly, kSets},
        {[](Control& c, int id) { c.setWhere("subclientId=%d and subclientId=%d", id, 3); }, kSingly, kSets},
        {[](Control& c, int id) {
             c.setOrderBy("opType DESC");
             c.setWhere("subclientId=%d", id);
         },
         kSingly, kSets},
    };
    expectAnswers<Control>(controls, sets, singles);

    using Pipe = ArchPipeConfig;
    const FilterCase<Pipe> settings[] = {
        {[](Pipe& s, int id) { s.setWhere("appNumber = %d", id); }, kSets, kSets},
        {[](Pipe& s, int id) { s.setWhere("appNumber = %d and NWWriteSpeed = %d", id, 3); }, kSets, kSets},
    };
    expectAnswers<Pipe>(settings, sets, singles);

    using Set = APP_BackupSetName;
    const FilterCase<Set> backupSets[] = {{[](Set& s, int id) { s.setWhere("id=%d", id % 5); }, kSets, kSets}};
    expectAnswers<Set>(backupSets, sets, singles);
}

} // namespace

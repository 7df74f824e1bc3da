#include "Db/Tbl/HubTables.h"
#include "rows/RowBytes.h"
#include "scope/ScopeTest.h"

namespace {

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

/// Asks with a form that takes the id, as often as it wants.
struct By {
    const char* form;
    const char* order = nullptr;
    template <class Accessor> void operator()(Accessor& accessor, int id) const {
        if (order != nullptr)
            accessor.setOrderBy(order);
        accessor.setWhere(form, id, id);
    }
};
/// A filter, and whether getOneRow's and getNextRow's reads with it are answered from sets.
template <class Accessor> struct FilterCase {
    std::function<void(Accessor&, int id)> ask;
    bool one;
    bool all;
};
constexpr bool kSets = true;
constexpr bool kSingly = false; ///< or from sets that few reads share

class ScopedFilters : public ScopeTest {
  protected:
    template <class Accessor> static std::string rowsFound(const FilterCase<Accessor>& filter, int id, bool one) {
        Accessor reader(nullptr);
        filter.ask(reader, id);
        std::string text;
        int state = 0;
        int status = one ? getOneRow(&reader, false, -1, 0) : getNextRow(&reader, &state, -1, 0);
        for (; status == 0; status = one ? 100 : getNextRow(&reader, &state, -1, 0))
            text += rowBytes(reader) + "\n";
        return text + std::to_string(status) + (one ? "" : std::to_string(getNextRow(&reader, &state, -1, 0)));
    }
    /// Reads everything twice within one scope, or without.
    template <class Accessor> static std::string answers(const FilterCase<Accessor>& filter, bool one) {
        hubdb::ReadScope scope;
        scope.visit(APP_Application_t2::kRow, kVisited);
        APP_Application own(nullptr); // what these refer to is foreseen from here on
        own.setWhere("id=%d", 1);
        (void)getOneRow(&own, false, -1, 0);
        std::string text;
        for (int times = 0; times < 2; ++times)
            for (int id = kFirst; id <= kLast; ++id)
                text += std::to_string(id) + ": " + rowsFound(filter, id, one) + "\n";
        return text;
    }
    template <class Accessor> static void expectAnswers(const std::vector<FilterCase<Accessor>>& filters) {
        for (std::size_t i = 0; i < filters.size(); ++i)
            for (const bool one : {true, false}) {
                const auto& filter = filters[i];
                SCOPED_TRACE(Accessor(nullptr).declaration().name + (" case " + std::to_string(i)) +
                             (one ? ", getOneRow" : ", getNextRow"));
                const auto reads = [&] { return answers(filter, one); };
                const Outcome singles = single(reads);
                const Outcome sets = outcome(reads);
                EXPECT_EQ(sets.text, singles.text);
                EXPECT_EQ(sets.failure, singles.failure);
                if (one ? filter.one : filter.all) {
                    EXPECT_LT(sets.statements, 20U) << "of " << singles.statements;
                }
            }
    }
};
INSTANTIATE_TEST_SUITE_P(Engines, ScopedFilters, ::testing::Combine(everyEngine(), ::testing::Bool()), &engineName);

TEST_P(ScopedFilters, FindWhatSingleReadsFind) {
    hub_->run(estateOfFilters());
    using Prop = APP_SubClientProp;
    expectAnswers<Prop>({
        {By{"componentNameId=%d"}, kSets, kSets},
        {By{"  COMPONENTNAMEID  =  %d  "}, kSets, kSets},
        {By{"componentNameId=%d and attrType=118 and modified=0"}, kSets, kSets},
        {By{"modified=0 AND componentNameId = %d"}, kSets, kSets},
        {By{"modified=0 and componentNameId=%dAND attrType is not null"}, kSets, kSets},
        {By{"componentNameId=%d and attrName = 'it''s'"}, kSets, kSets},
        {By{"attrName='x or ''and'' id=1' and componentNameId=%d"}, kSets, kSets},
        {By{"attrName like 'User%%' and componentNameId=%d"}, kSets, kSets},
        {By{"componentNameId=%d and attrVal like 'v%%'"}, kSets, kSets},
        {By{"componentNameId=%d and (attrType=118 or attrType=116)"}, kSingly, kSingly},
        {By{"componentNameId=%d and attrType in (118, 116)"}, kSets, kSets},
        {By{"not attrType=118 and componentNameId=%d"}, kSets, kSets},
        {By{"not componentNameId=%d and id<4"}, kSingly, kSingly},
        {By{"(componentNameId=%d)"}, kSingly, kSingly},
        {By{"%d=componentNameId"}, kSingly, kSingly},
        {By{"componentNameId=%d+0"}, kSingly, kSingly},
        {[](Prop& p, int id) { p.setWhere("componentNameId=-%d", -id); }, kSingly, kSingly},
        {[](Prop& p, int id) { p.setWhere("componentNameId>=%d and componentNameId<%d", id, id + 2); }, kSingly,
         kSingly},
        {[](Prop& p, int id) { p.setWhere("componentNameId between %d and %d", id, id + 1); }, kSingly, kSingly},
        {By{"attrType=118 or componentNameId=%d"}, kSingly, kSingly},
        {[](Prop& p, int id) { p.setWhere("componentNameId=%d or componentNameId=%d", id, 3); }, kSingly, kSingly},
        {[](Prop& p, int id) { p.setWhere("componentNameId=%d and attrName='%s'", id, "it's"); }, kSingly, kSingly},
        {By{"componentNameId=%d and attrType=118 or attrType=116"}, kSingly, kSingly},
        {By{"attrType=116 OR componentNameId=%d AND modified=0"}, kSingly, kSingly},
        {By{"componentNameId=%d and componentNameId=%d"}, kSingly, kSingly},
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
        {By{"componentNameId=%d and created is null"}, kSets, kSets},
        {By{"componentNameId=%d and 3=3"}, kSets, kSets},
        {By{"id=%d"}, kSingly, kSingly},
        {By{"componentNameId=%d and nosuch=1"}, kSingly, kSingly},
        {By{"componentNameId=%d and"}, kSingly, kSingly},
        {By{"componentNameId=%d", "attrName DESC, id"}, kSingly, kSets},
        {By{"componentNameId=%d", "attrType, attrVal DESC, id DESC"}, kSingly, kSets},
        {[](Prop& p, int id) {
             p.setOrderBy("componentNameId, id DESC");
             p.setWhere("componentNameId=%d and modified=%d", id, 0);
         },
         kSingly, kSets},
        {By{"componentNameId=%d", "id; drop"}, kSingly, kSingly},
    });

    using App = APP_Application;
    expectAnswers<App>({
        {By{"id=%d"}, kSets, kSets},
        {By{"id=%d and subclientStatus=3"}, kSets, kSets},
        {[](App& a, int id) { a.setWhere("id=%d and clientId=%d", id, id % 3); }, kSets, kSets},
        {[](App& a, int id) { a.setWhere("clientId=%d and id=%d", id % 2, id); }, kSets, kSets},
        {By{"clientId=%d"}, kSingly, kSingly},
        {By{"appTypeId=%d and subclientStatus=1"}, kSingly, kSingly},
        {By{"logArchGrpID=%d"}, kSets, kSets},
        {[](App& a, int id) { a.setWhere("dataArchGrpID=%d and logArchGrpID=%d", 2, id); }, kSets, kSets},
        {By{"subclientName like 'it%%' and id=%d"}, kSets, kSets},
        {By{"subclientName='it''s 3 or id=1' and id=%d"}, kSets, kSets},
        {By{"id=%d or subclientName='it''s 3 or id=1'"}, kSingly, kSingly},
    });

    using Control = JMActivityControl;
    expectAnswers<Control>({
        {[](Control& c, int id) { c.setWhere("subclientId=%d and opType=%d", id, 57); }, kSets, kSets},
        {By{"opType=4 and subclientId=%d"}, kSingly, kSets},
        {By{"subclientId=%d"}, kSingly, kSets},
        {[](Control& c, int id) { c.setWhere("subclientId=%d and subclientId=%d", id, 3); }, kSingly, kSets},
        {By{"subclientId=%d", "opType DESC"}, kSingly, kSets},
    });

    using Pipe = ArchPipeConfig;
    expectAnswers<Pipe>({
        {By{"appNumber = %d"}, kSets, kSets},
        {[](Pipe& s, int id) { s.setWhere("appNumber = %d and NWWriteSpeed = %d", id, 3); }, kSets, kSets},
    });

    using Set = APP_BackupSetName;
    expectAnswers<Set>({{[](Set& s, int id) { s.setWhere("id=%d", id % 5); }, kSets, kSets}});
}

} // namespace

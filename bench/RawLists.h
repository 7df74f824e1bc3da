#pragma once

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "BackupSets.h"
#include "Columns.h"
#include "Db/Tbl/HubTables.h"
#include "ListReader.h"

/// The lists as one would write them by hand, on either engine's own interface (RawSqlite, RawPostgres).

constexpr const char* kSelectClients = "SELECT C.id, C.name, S.id, C.status, S.Name, C.releaseId FROM APP_Client C "
                                       "JOIN SimOperatingSystem S ON S.id = C.simOperatingSystemId WHERE C.id != 1 "
                                       "ORDER BY C.id";

/// All clients from one statement, whose columns go into the objects without a stop between.
template <class Raw> class RawClients : public ListReader<VSDK_Client> {
  public:
    explicit RawClients(const std::string& url) : raw_(url), statement_(raw_.prepare(kSelectClients)) {}

    void fetch(const std::function<void(const Entities&)>& look) override {
        HandMadeList<VSDK_Client> list;
        for (statement_.execute(); statement_.next();) {
            int id = 0;
            statement_.copy(0, id);
            auto client = std::make_unique<VSDK_Client>(id);
            statement_.copy(1, client->name);
            statement_.copy(2, client->simSystemOSId);
            statement_.copy(3, client->status);
            statement_.copy(4, client->osName);
            statement_.copy(5, client->releaseId);
            list.append(std::move(client));
        }
        statement_.close();
        look(list.elements);
    }

  private:
    Raw raw_;
    typename Raw::Statement statement_;
};

// ---- what the rows of a subclient mean, whoever read them

constexpr int kBackup = 4;
constexpr int kOperation57 = 57;

template <class Row> void takeApplication(VSDK_Subclient& subclient, Row& row) {
    subclient.name = column<"subclientName">(row);
    subclient.appTypeId = column<"appTypeId">(row);
    subclient.status = column<"subclientStatus">(row);
    subclient.applicationNumber2 = column<"dataArchGrpID">(row);
    subclient.applicationNumber3 = column<"logArchGrpID">(row);
    subclient.activityFlags = VSDK_Subclient::kBackupActivity | VSDK_Subclient::kOperation57Activity; // unless told
}
inline bool isLeftOut(const VSDK_Subclient& subclient) {
    return (subclient.status & VSDK_Subclient::kLeftOut) != 0;
}
template <class Row> void takeContent(VSDK_Subclient& subclient, Row& row) {
    subclient.content.emplace_back(column<"fileName">(row));
}
template <class Row> void takePipe(VSDK_Subclient& subclient, Row& row) {
    subclient.numNWAgents = column<"numNWAgents">(row);
    subclient.compressWhere = column<"compressWhere">(row);
}
inline void takeProperty(VSDK_Subclient& subclient, std::string_view name, std::string_view value) {
    if (name == "User Description")
        subclient.applicationText = value;
    else if (name == "Number of Data Readers")
        subclient.applicationNumber1 = std::atoi(value.data());
    else if (name == "Subclient Policy")
        subclient.subclientPolicyId = std::strtoul(value.data(), nullptr, 10);
}
template <class Row> void takeProperty(VSDK_Subclient& subclient, Row& row) {
    takeProperty(subclient, column<"attrName">(row), column<"attrVal">(row));
}
template <class Row> void takeActivity(VSDK_Subclient& subclient, Row& row) {
    if (column<"enabled">(row) == 0)
        subclient.activityFlags &= ~(column<"opType">(row) == kBackup ? VSDK_Subclient::kBackupActivity
                                                                      : VSDK_Subclient::kOperation57Activity);
}

/// The ids of the subclients of a backup set, as all but the joined statement begin. The parameters are what stands for
/// them in a statement.
inline std::string selectSubclients(const std::array<std::string, 4>& parameters) {
    return "SELECT id, subclientName FROM APP_Application WHERE clientId=" + parameters[0] +
           " AND coalesce(appTypeId, -1)=" + parameters[1] + " AND instance=" + parameters[2] +
           " AND backupSet=" + parameters[3] + " ORDER BY id";
}

/// The rows of one table by a key, from a kept statement, into the accessor's buffer.
template <class Raw, class Descriptor> class RawRows {
  public:
    RawRows(Raw& raw, const std::string& condition)
        : statement_(raw.prepare(selectFrom<Descriptor>("WHERE " + condition))) {}

    template <class Use, class Key> void one(Use use, const Key& key) {
        statement_.execute(key);
        if (statement_.next())
            take(use);
        statement_.close();
    }
    template <class Use, class Key> void each(Use use, const Key& key) {
        statement_.execute(key);
        takeAll(use);
    }

    template <class Key> void send(const Key& key) { statement_.send(key); }
    template <class Use> void receive(Use use) {
        statement_.receive();
        takeAll(use);
    }

  private:
    template <class Use> void take(Use& use) {
        fill(statement_, row_);
        use(row_);
    }
    template <class Use> void takeAll(Use& use) {
        while (statement_.next())
            take(use);
        statement_.close();
    }

    typename Raw::Statement statement_;
    BufferRow<Descriptor> row_{};
};

/// A connection of the raw interface, as SubclientsOneByOne needs it.
template <class RawInterface> class RawSource {
  public:
    using Raw = RawInterface;
    template <class Descriptor> using Rows = RawRows<Raw, Descriptor>;

    explicit RawSource(const std::string& url)
        : raw_(url), list_(raw_.prepare(selectSubclients(
                         {Raw::parameter(1), Raw::parameter(2), Raw::parameter(3), Raw::parameter(4)}))) {}

    template <class Descriptor> Rows<Descriptor> rows(const std::string& key, const std::string& more = "") {
        return {raw_, key + "=" + Raw::parameter(1) + more};
    }
    template <class Descriptor> Rows<Descriptor> rowsOfSet(const std::string& key, const std::string& more = "") {
        return {raw_, Raw::isIn(key) + more};
    }
    std::vector<int> idsIn(const BenchBackupSet& set) {
        std::vector<int> ids;
        for (list_.execute(set.clientId, set.appTypeId, set.instanceId, set.backupSetId); list_.next();)
            list_.copy(0, ids.emplace_back());
        list_.close();
        return ids;
    }
    Raw& raw() { return raw_; }

  private:
    Raw raw_;
    typename Raw::Statement list_;
};

/// Each subclient by the reads that its rows take one by one, the same as the library makes for a single one.
template <class Source> class SubclientsOneByOne : public ListReader<VSDK_Subclient> {
  public:
    template <class... Arguments>
    SubclientsOneByOne(const BenchBackupSet& set, Arguments... arguments) : scope_(set), source_(arguments...) {}

    void fetch(const std::function<void(const Entities&)>& look) override {
        HandMadeList<VSDK_Subclient> list;
        for (const int id : source_.idsIn(scope_)) {
            auto owned = std::make_unique<VSDK_Subclient>(id);
            VSDK_Subclient& subclient = *owned;
            int setId = 0;
            application_.one([&](auto& row) { takeApplication(subclient, row); }, id);
            applicationAgain_.one([&](auto& row) { setId = column<"backupSet">(row); }, id);
            if (isLeftOut(subclient))
                continue;
            set_.one([&](auto& row) { subclient.backupSetModifiedTime = static_cast<int>(column<"modified">(row)); },
                     setId);
            onDemand_.one(kOnlyRead, setId);
            description_.one(kOnlyRead, setId);
            policy_.one([&](auto& row) { subclient.storagePolicyName = column<"name">(row); },
                        subclient.applicationNumber2);
            content_.each([&](auto& row) { takeContent(subclient, row); }, id);
            pipe_.each([&](auto& row) { takePipe(subclient, row); }, id);
            property_.each([&](auto& row) { takeProperty(subclient, row); }, id);
            backup_.one([&](auto& row) { takeActivity(subclient, row); }, id);
            operation57_.one([&](auto& row) { takeActivity(subclient, row); }, id);
            list.append(std::move(owned));
        }
        look(list.elements);
    }

  private:
    template <class Descriptor> using Rows = typename Source::template Rows<Descriptor>;
    template <class Descriptor> Rows<Descriptor> rows(const std::string& key, const std::string& more = "") {
        return source_.template rows<Descriptor>(key, more);
    }
    static constexpr auto kOnlyRead = [](auto& /*row*/) {};

    BenchBackupSet scope_;
    Source source_;
    Rows<APP_Application_t2> application_ = rows<APP_Application_t2>("id");
    Rows<APP_Application_t2> applicationAgain_ = rows<APP_Application_t2>("id");
    Rows<APP_BackupSetName_t2> set_ = rows<APP_BackupSetName_t2>("id");
    Rows<APP_BackupSetProp_t2> onDemand_ =
        rows<APP_BackupSetProp_t2>("componentNameId", " AND attrName='On Demand Backupset' AND modified=0 ORDER BY id");
    Rows<APP_BackupSetProp_t2> description_ =
        rows<APP_BackupSetProp_t2>("componentNameId", " AND attrName='User Description' AND modified=0 ORDER BY id");
    Rows<ArchGroup_t2> policy_ = rows<ArchGroup_t2>("id");
    Rows<APP_ScFilterFile_t2> content_ =
        rows<APP_ScFilterFile_t2>("componentNameId", " AND type=1 AND modified=0 ORDER BY id");
    Rows<ArchPipeConfig_t2> pipe_ = rows<ArchPipeConfig_t2>("appNumber");
    Rows<APP_SubClientProp_t2> property_ = rows<APP_SubClientProp_t2>("componentNameId", " AND modified=0 ORDER BY id");
    Rows<JMActivityControl_t2> backup_ = rows<JMActivityControl_t2>("subclientId", " AND opType=4");
    Rows<JMActivityControl_t2> operation57_ = rows<JMActivityControl_t2>("subclientId", " AND opType=57");
};

/// Chunks of subclients, each with one read per table. With a pipeline the reads that do not wait for another's rows
/// are sent together.
template <class Raw> class SubclientsBySets : public ListReader<VSDK_Subclient> {
  public:
    SubclientsBySets(const BenchBackupSet& set, const std::string& url, bool pipelined = false)
        : scope_(set), source_(url), pipelined_(pipelined) {}

    void fetch(const std::function<void(const Entities&)>& look) override {
        constexpr std::size_t kChunk = 512;
        HandMadeList<VSDK_Subclient> list;
        const std::vector<int> ids = source_.idsIn(scope_);
        for (std::span<const int> rest = ids; !rest.empty();) {
            const auto chunk = rest.first(std::min(kChunk, rest.size()));
            rest = rest.subspan(chunk.size());
            readChunk(chunk);
            for (auto& subclient : chunk_)
                list.append(std::move(subclient));
        }
        look(list.elements);
    }

  private:
    template <class Descriptor> using Rows = RawRows<Raw, Descriptor>;
    template <class Descriptor> Rows<Descriptor> rows(const std::string& key, const std::string& more = "") {
        return source_.template rowsOfSet<Descriptor>(key, more);
    }
    /// A set-wise read.
    template <class Descriptor, class Use> struct Read {
        Rows<Descriptor>& rows;
        std::span<const int> keys;
        Use use;
    };
    template <class Descriptor, class Use> Read(Rows<Descriptor>&, std::span<const int>, Use) -> Read<Descriptor, Use>;

    template <class... Reads> void run(Reads... reads) {
        if constexpr (requires(Raw & raw) { raw.beginPipeline(); })
            if (pipelined_) {
                source_.raw().beginPipeline();
                (reads.rows.send(reads.keys), ...);
                source_.raw().sendPipeline();
                (reads.rows.receive(reads.use), ...);
                source_.raw().endPipeline();
                return;
            }
        (reads.rows.each(reads.use, reads.keys), ...);
    }

    /// The subclient that a row belongs to. Keys come in ascending order, mostly each after the one before.
    VSDK_Subclient& ownerOf(int id) {
        const auto at = std::lower_bound(chunk_.begin(), chunk_.end(), id,
                                         [](const auto& subclient, int key) { return subclient->subclientId < key; });
        return **at;
    }
    static void makeSet(std::vector<int>& ids) {
        std::sort(ids.begin(), ids.end());
        ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
    }

    void readChunk(std::span<const int> ids) {
        chunk_.clear();
        std::vector<int> kept;
        std::vector<int> setOf;
        application_.each(
            [&](auto& row) {
                auto subclient = std::make_unique<VSDK_Subclient>(column<"id">(row));
                takeApplication(*subclient, row);
                if (isLeftOut(*subclient))
                    return;
                kept.push_back(subclient->subclientId);
                setOf.push_back(column<"backupSet">(row));
                chunk_.push_back(std::move(subclient));
            },
            ids);
        std::vector<int> sets = setOf;
        makeSet(sets);
        std::vector<int> policies;
        for (const auto& subclient : chunk_)
            policies.push_back(subclient->applicationNumber2);
        makeSet(policies);
        std::map<int, int> modified;
        std::map<int, std::string> policyNames;
        const auto ofOwner = [this](auto take, auto key) {
            return [this, take, key](auto& row) { take(ownerOf(key(row)), row); };
        };
        const auto byComponent = [](auto& row) { return column<"componentNameId">(row); };
        const auto setIds = std::span<const int>(sets);
        const auto keptIds = std::span<const int>(kept);
        run(Read{set_, setIds,
                 [&](auto& row) { modified[column<"id">(row)] = static_cast<int>(column<"modified">(row)); }},
            Read{setProperty_, setIds, [](auto& /*row*/) {}},
            Read{policy_, std::span<const int>(policies),
                 [&](auto& row) { policyNames[column<"id">(row)] = column<"name">(row); }},
            Read{content_, keptIds,
                 ofOwner([](auto& subclient, auto& row) { takeContent(subclient, row); }, byComponent)},
            Read{pipe_, keptIds,
                 ofOwner([](auto& subclient, auto& row) { takePipe(subclient, row); },
                         [](auto& row) { return column<"appNumber">(row); })},
            Read{property_, keptIds,
                 ofOwner([](auto& subclient, auto& row) { takeProperty(subclient, row); }, byComponent)},
            Read{activity_, keptIds,
                 ofOwner([](auto& subclient, auto& row) { takeActivity(subclient, row); },
                         [](auto& row) { return column<"subclientId">(row); })});
        for (std::size_t i = 0; i < chunk_.size(); ++i) {
            chunk_[i]->backupSetModifiedTime = modified.at(setOf[i]);
            chunk_[i]->storagePolicyName = policyNames.at(chunk_[i]->applicationNumber2);
        }
    }

    BenchBackupSet scope_;
    RawSource<Raw> source_;
    bool pipelined_;
    std::vector<std::unique_ptr<VSDK_Subclient>> chunk_;
    Rows<APP_Application_t2> application_ = rows<APP_Application_t2>("id", " ORDER BY id");
    Rows<APP_BackupSetName_t2> set_ = rows<APP_BackupSetName_t2>("id");
    Rows<APP_BackupSetProp_t2> setProperty_ = rows<APP_BackupSetProp_t2>(
        "componentNameId", " AND attrName IN ('On Demand Backupset', 'User Description') AND modified=0 ORDER BY id");
    Rows<ArchGroup_t2> policy_ = rows<ArchGroup_t2>("id");
    Rows<APP_ScFilterFile_t2> content_ =
        rows<APP_ScFilterFile_t2>("componentNameId", " AND type=1 AND modified=0 ORDER BY componentNameId, id");
    Rows<ArchPipeConfig_t2> pipe_ = rows<ArchPipeConfig_t2>("appNumber");
    Rows<APP_SubClientProp_t2> property_ =
        rows<APP_SubClientProp_t2>("componentNameId", " AND modified=0 ORDER BY componentNameId, id");
    Rows<JMActivityControl_t2> activity_ = rows<JMActivityControl_t2>("subclientId", " AND opType IN (4, 57)");
};

/// One statement for all: the rows that there is one of joined, the others as one text each. Whole rows as the other
/// readers read them, or only what the objects are made of.
template <class Raw> class SubclientsJoined : public ListReader<VSDK_Subclient> {
  public:
    enum class Columns { kAll, kNeeded };

    SubclientsJoined(const BenchBackupSet& set, const std::string& url, Columns columns)
        : scope_(set), columns_(columns), raw_(url), statement_(raw_.prepare(sql())) {}

    void fetch(const std::function<void(const Entities&)>& look) override {
        HandMadeList<VSDK_Subclient> list;
        for (statement_.execute(scope_.clientId, scope_.appTypeId, scope_.instanceId, scope_.backupSetId);
             statement_.next();) {
            column_ = 0;
            read_ = selected_.begin();
            take(application_);
            auto subclient = std::make_unique<VSDK_Subclient>(column<"id">(application_));
            takeApplication(*subclient, application_);
            take(set_);
            subclient->backupSetModifiedTime = static_cast<int>(column<"modified">(set_));
            take(policy_);
            subclient->storagePolicyName = column<"name">(policy_);
            take(pipe_);
            takePipe(*subclient, pipe_);
            for (int i = 0; i < 2; ++i) {
                take(activity_);
                if (column<"opType">(activity_) != 0)
                    takeActivity(*subclient, activity_);
            }
            if (columns_ == Columns::kAll) {
                take(setProperty_);
                take(setProperty_);
            }
            takeParts([&](std::string_view path) { subclient->content.emplace_back(path); });
            takeParts([&](std::string_view property) {
                const std::size_t end = property.find(kBetweenColumns);
                value_ = property.substr(end + 1);
                takeProperty(*subclient, property.substr(0, end), value_);
            });
            list.append(std::move(subclient));
        }
        statement_.close();
        look(list.elements);
    }

  private:
    static constexpr char kBetweenRows = '\x1E';
    static constexpr char kBetweenColumns = '\x1F';

    /// The next row, of its columns those that the statement selects.
    template <class Row> void take(Row& row) {
        eachColumn(row, [this](auto& member) {
            if (*read_++)
                statement_.copy(column_++, member);
        });
    }
    template <class Use> void takeParts(Use use) {
        statement_.copy(column_++, text_);
        for (std::string_view rest = text_; !rest.empty();) {
            const std::size_t end = std::min(rest.find(kBetweenRows), rest.size());
            use(rest.substr(0, end));
            rest.remove_prefix(std::min(end + 1, rest.size()));
        }
    }

    bool selects(std::string_view column) const {
        constexpr std::array<std::string_view, 12> kNeeded{
            "id",       "subclientName", "appTypeId",   "subclientStatus", "dataArchGrpID", "logArchGrpID",
            "modified", "name",          "numNWAgents", "compressWhere",   "opType",        "enabled"};
        return columns_ == Columns::kAll || std::ranges::count(kNeeded, column) != 0;
    }

    std::string sql() {
        std::string columns;
        std::string tables = " FROM APP_Application A";
        const auto add = [&](const OVDBRowDeclaration& table, const std::string& alias, const std::string& condition) {
            for (const auto& column : table.columns) {
                selected_.push_back(selects(column.name));
                if (selected_.back())
                    columns += (columns.empty() ? "" : ", ") + alias + "." + column.name;
            }
            if (!condition.empty())
                tables += std::string(" LEFT JOIN ") + table.object + " " + alias + " ON " + alias + "." + condition;
        };
        add(APP_Application_t2::kRow, "A", "");
        add(APP_BackupSetName_t2::kRow, "B", "id=A.backupSet");
        add(ArchGroup_t2::kRow, "G", "id=A.dataArchGrpID");
        add(ArchPipeConfig_t2::kRow, "P", "appNumber=A.id");
        add(JMActivityControl_t2::kRow, "K", "subclientId=A.id AND K.opType=4");
        add(JMActivityControl_t2::kRow, "L", "subclientId=A.id AND L.opType=57");
        if (columns_ == Columns::kAll) {
            const std::string ofSet = "componentNameId=A.backupSet AND ";
            add(APP_BackupSetProp_t2::kRow, "D", ofSet + "D.attrName='On Demand Backupset' AND D.modified=0");
            add(APP_BackupSetProp_t2::kRow, "U", ofSet + "U.attrName='User Description' AND U.modified=0");
        }
        const auto parts = [](const std::string& value, const std::string& table, const std::string& condition) {
            return std::string(", (SELECT ") + Raw::kJoinTexts + "(value, " + Raw::kCharacter + "(30)) FROM (SELECT " +
                   value + " AS value FROM " + table + " WHERE componentNameId=A.id AND " + condition +
                   "modified=0 ORDER BY id) AS parts)";
        };
        return "SELECT " + columns + parts("fileName", "APP_ScFilterFile", "type=1 AND ") +
               parts(std::string("attrName || ") + Raw::kCharacter + "(31) || attrVal", "APP_SubClientProp", "") +
               tables + " WHERE A.clientId=" + Raw::parameter(1) +
               " AND coalesce(A.appTypeId, -1)=" + Raw::parameter(2) + " AND A.instance=" + Raw::parameter(3) +
               " AND A.backupSet=" + Raw::parameter(4) + " AND (A.subclientStatus & " +
               std::to_string(VSDK_Subclient::kLeftOut) + ") = 0 ORDER BY A.id";
    }

    BenchBackupSet scope_;
    Columns columns_;
    std::vector<bool> selected_; ///< by the columns of the tables, in their order
    Raw raw_;
    typename Raw::Statement statement_;
    int column_ = 0;                         ///< of the statement, the next one
    std::vector<bool>::const_iterator read_; ///< the next of `selected_`
    BufferRow<APP_Application_t2> application_{};
    BufferRow<APP_BackupSetName_t2> set_{};
    BufferRow<ArchGroup_t2> policy_{};
    BufferRow<ArchPipeConfig_t2> pipe_{};
    BufferRow<JMActivityControl_t2> activity_{};
    BufferRow<APP_BackupSetProp_t2> setProperty_{};
    std::string text_;
    std::string value_;
};

#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "Db/Tbl/ZXGlobalParam.h"
#include "db/FaultSeam.h"
#include "db/HubDatabase.h"
#include "support/HubEngine.h"
#include "support/LogLines.h"

/// What every engine must do, in both binding modes. To run it on one more engine, add it to kEngines.
class EngineTest : public ::testing::TestWithParam<std::tuple<support::MakeHubEngine, bool>> {
  protected:
    void SetUp() override {
        try {
            hub_ = std::get<support::MakeHubEngine>(GetParam())();
        } catch (const support::NoServer& none) {
            GTEST_SKIP() << none.what();
        }
        DBtable::b_newDBBase = std::get<bool>(GetParam());
        connect();
    }
    void TearDown() override {
        atNoPoint();
        HubDatabase::disconnect();
        atPoint = nullptr;
        DBtable::b_newDBBase = false;
    }

    void connect(const std::string& options = "") {
        std::string error;
        ASSERT_EQ(HubDatabase::connect(hub_->url(options), error), 0) << error;
        HubDatabase::clearLastFailure();
    }
    /// Puts parameters with these names into the database, their ids 1, 2 ..., around the library.
    void put(const std::vector<std::string>& names) {
        for (const auto& name : names)
            hub_->run("INSERT INTO ZXGlobalParam (name, value) VALUES ('" + name + "', '')");
    }
    /// The names in the database in the order of their ids, as somebody else sees them.
    std::string names() const { return hub_->ask("SELECT name FROM ZXGlobalParam ORDER BY id"); }
    /// The names that a reader delivers until its status is not 0, and that status.
    static std::string readAll(ZXGlobalParam& reader) {
        std::string seen;
        int state = 0;
        int status = 0;
        while ((status = getNextRow(&reader, &state, -1, 0)) == 0)
            (seen += reader.getDataPtr()->name) += ' ';
        return seen + std::to_string(status);
    }
    static int insert(const char* name, DBtran* transaction = nullptr) {
        ZXGlobalParam writer(transaction);
        dbSetText(writer.getDataPtr()->name, name);
        return writer.rowInsert(false);
    }
    static int find(const char* name, DBtran* transaction = nullptr) {
        ZXGlobalParam reader(transaction);
        reader.setWhere("name='%s'", name);
        return getOneRow(&reader, false, -1, 0);
    }

    static int lastFailure() {
        std::string words;
        return HubDatabase::lastFailure(words);
    }
    /// Whether an engine's words name something; it may have folded the name's case.
    static bool tell(const std::string& words, const std::string& name) {
        const auto same = [](char a, char b) { return std::tolower(a) == std::tolower(b); };
        return std::search(words.begin(), words.end(), name.begin(), name.end(), same) != words.end();
    }

    /// Calls `then` at every fault point until the test ends; what it returns is the engine's status.
    using AtPoint = std::function<int(hubdb::FaultPoint, std::string_view object)>;
    static void at(AtPoint then) {
        atPoint = std::move(then);
        hubdb::faultHook = [](hubdb::FaultPoint point, const char* object) { return atPoint(point, object); };
    }
    static void atNoPoint() { hubdb::faultHook = nullptr; }
    /// Makes the engine fail at the next `times` points of this kind, for any object or, when given, for one.
    static void fail(hubdb::FaultPoint point, int status, int times = 1, const char* object = "") {
        at([=](hubdb::FaultPoint where, std::string_view of) mutable {
            return where == point && (*object == '\0' || of == object) && times-- > 0 ? status : 0;
        });
    }
    /// Statements run since the last call.
    std::uint64_t statements() {
        const auto now = HubDatabase::statistics().statementsExecuted;
        return now - std::exchange(statements_, now);
    }
    static std::uint64_t opened() { return HubDatabase::statistics().connectionsOpened; }
    static std::uint64_t prepared() { return HubDatabase::statistics().statementsPrepared; }

    std::unique_ptr<support::HubEngine> hub_;

  private:
    inline static AtPoint atPoint;
    std::uint64_t statements_ = 0;
};

struct NamedEngine {
    support::MakeHubEngine make;
    const char* name;
};
inline constexpr NamedEngine kEngines[] = {{&support::makeSqliteHub, "Sqlite"},
                                           {&support::makeSqliteWalHub, "SqliteWal"},
                                           {&support::makePostgresHub, "Postgres"},
                                           {&support::makePooledPostgresHub, "PooledPostgres"}};

inline auto everyEngine() {
    std::vector<support::MakeHubEngine> makers;
    for (const auto& engine : kEngines)
        makers.push_back(engine.make);
    return ::testing::ValuesIn(makers);
}
inline auto everyServer() {
    return ::testing::Values(&support::makePostgresHub, &support::makePooledPostgresHub);
}
inline std::string engineName(const ::testing::TestParamInfo<EngineTest::ParamType>& test) {
    const auto* const engine =
        std::ranges::find(kEngines, std::get<support::MakeHubEngine>(test.param), &NamedEngine::make);
    return std::string(engine->name) + (std::get<bool>(test.param) ? "Typed" : "Printf");
}

/// Defines a suite of tests with a fixture and runs it on every engine in the given binding modes.
#define ENGINE_TEST(Suite, Fixture, modes)                                                                             \
    class Suite : public Fixture {};                                                                                   \
    INSTANTIATE_TEST_SUITE_P(Engines, Suite, ::testing::Combine(everyEngine(), modes), &engineName)

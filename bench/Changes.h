#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Columns.h"
#include "Db/Tbl/HubTables.h"

/// What a subclient is to be like.
struct SubclientState {
    std::string description;
    int readers = 0;                ///< 0: as they are
    std::vector<std::string> paths; ///< none: as they are
};

/// One way to change a subclient. Failures are exceptions.
class Changer {
  public:
    virtual ~Changer() = default;
    virtual void change(int subclient, SubclientState& state) = 0;
};

/// The statements of a change, which are kept, on a connection that stays open.
class ChangeStatements {
  public:
    using Time = std::int64_t;
    using UseRow = std::function<void(int id, std::string_view text)>;

    virtual ~ChangeStatements() = default;
    virtual void begin() = 0;
    virtual void commit() = 0;
    /// The subclient's backup set.
    virtual int readSubclient(int id) = 0;
    virtual void markSet(int id, Time now) = 0;
    virtual void readPaths(int subclient, const UseRow& use) = 0;
    virtual void retirePath(int id, Time now) = 0;
    virtual void addPath(int subclient, const std::string& path, Time now) = 0;
    virtual void readProperty(int subclient, const std::string& name, const UseRow& use) = 0;
    virtual void retireProperty(int id, Time now) = 0;
    virtual void addProperty(int subclient, const std::string& name, int type, const std::string& value, Time now) = 0;
};

/// Through SOCI, after `settings`, which are statements.
std::unique_ptr<ChangeStatements> sociChanges(const std::string& url, const std::vector<std::string>& settings);

/// Their texts, with what stands for a parameter.
struct ChangeSql {
    using Parameter = std::string (*)(int number);

    explicit ChangeSql(Parameter p)
        : subclient(selectFrom<APP_Application_t2>("WHERE id=" + p(1))),
          markSet("UPDATE APP_BackupSetName SET modified = CASE WHEN modified >= " + p(1) + " THEN modified + 1 ELSE " +
                  p(2) + " END WHERE id=" + p(3)),
          paths(selectFrom<APP_ScFilterFile_t2>("WHERE componentNameId=" + p(1) +
                                                " AND type=1 AND modified=0 ORDER BY id")),
          retirePath("UPDATE APP_ScFilterFile SET modified=" + p(1) + " WHERE id=" + p(2)),
          addPath("INSERT INTO APP_ScFilterFile (componentNameId, type, fileName, created, modified, ccpId) VALUES (" +
                  p(1) + ", 1, " + p(2) + ", " + p(3) + ", 0, 0)"),
          property(selectFrom<APP_SubClientProp_t2>("WHERE componentNameId=" + p(1) + " AND attrName=" + p(2) +
                                                    " AND modified=0 ORDER BY id")),
          retireProperty("UPDATE APP_SubClientProp SET modified=" + p(1) + " WHERE id=" + p(2)),
          addProperty("INSERT INTO APP_SubClientProp (componentNameId, attrName, attrType, attrVal, created, modified, "
                      "ccpId) VALUES (" +
                      p(1) + ", " + p(2) + ", " + p(3) + ", " + p(4) + ", " + p(5) + ", 0, 0)") {}

    std::string subclient;
    std::string markSet;
    std::string paths;
    std::string retirePath;
    std::string addPath;
    std::string property;
    std::string retireProperty;
    std::string addProperty;
};

/// A change as one would write it by hand: the same reads, comparisons and writes as the library's.
class HandMadeChanger : public Changer {
  public:
    HandMadeChanger(std::unique_ptr<ChangeStatements> statements, ChangeStatements::Time now)
        : statements_(std::move(statements)), now_(now) {}

    void change(int subclient, SubclientState& state) override {
        statements_->begin();
        marked_ = false;
        if (!state.paths.empty())
            replacePaths(subclient, state.paths);
        setProperty(subclient, "User Description", 1, state.description);
        if (state.readers != 0)
            setProperty(subclient, "Number of Data Readers", 2, std::to_string(state.readers));
        statements_->commit();
    }

  private:
    void beforeWrite() {
        if (!marked_)
            statements_->markSet(set_, now_);
        marked_ = true;
    }
    void replacePaths(int subclient, const std::vector<std::string>& paths) {
        std::vector<std::pair<int, std::string>> before;
        statements_->readPaths(subclient, [&before](int id, std::string_view path) { before.emplace_back(id, path); });
        set_ = statements_->readSubclient(subclient);
        std::unordered_map<std::string_view, bool> wanted;
        for (const std::string& path : paths)
            wanted.emplace(path, false);
        for (const auto& [id, path] : before) {
            const auto found = wanted.find(path);
            if (found != wanted.end() && !found->second) {
                found->second = true;
                continue;
            }
            beforeWrite();
            statements_->retirePath(id, now_);
        }
        for (const std::string& path : paths) {
            if (std::exchange(wanted.at(path), true))
                continue;
            beforeWrite();
            statements_->addPath(subclient, path, now_);
        }
    }
    void setProperty(int subclient, const std::string& name, int type, const std::string& value) {
        set_ = statements_->readSubclient(subclient);
        std::vector<int> before;
        std::string current;
        statements_->readProperty(subclient, name, [&](int id, std::string_view text) {
            if (before.empty())
                current = text;
            before.push_back(id);
        });
        if (current == value)
            return;
        beforeWrite();
        for (const int id : before)
            statements_->retireProperty(id, now_);
        statements_->addProperty(subclient, name, type, value, now_);
    }

    std::unique_ptr<ChangeStatements> statements_;
    ChangeStatements::Time now_;
    bool marked_ = false;
    int set_ = 0;
};

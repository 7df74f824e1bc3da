#include <stdexcept>

#include "Changes.h"
#include "Estate.h"
#include "SociSession.h"

namespace {

class SociChanges : public ChangeStatements {
  public:
    SociChanges(const std::string& url, const std::vector<std::string>& settings)
        : session_(url), begin_(isServer(url) ? "BEGIN ISOLATION LEVEL REPEATABLE READ" : "BEGIN IMMEDIATE"),
          settled_(settle(settings)), subclient_(select(sql_.subclient, subclientRow_)),
          markSet_((session_.prepare << sql_.markSet, soci::use(now_), soci::use(now_), soci::use(id_))),
          paths_(select(sql_.paths, path_)),
          retirePath_((session_.prepare << sql_.retirePath, soci::use(now_), soci::use(id_))),
          addPath_((session_.prepare << sql_.addPath, soci::use(id_), soci::use(text_), soci::use(now_))),
          property_(select(sql_.property, propertyRow_, true)),
          retireProperty_((session_.prepare << sql_.retireProperty, soci::use(now_), soci::use(id_))),
          addProperty_((session_.prepare << sql_.addProperty, soci::use(id_), soci::use(name_), soci::use(type_),
                        soci::use(text_), soci::use(now_))) {}

    void begin() override { session_ << begin_; }
    void commit() override { session_ << "COMMIT"; }

    int readSubclient(int id) override {
        id_ = id;
        if (!subclient_.execute(true))
            throw std::runtime_error("SOCI found no subclient");
        subclient_.fetch();
        return column<"backupSet">(subclientRow_);
    }
    void markSet(int id, Time now) override { run(markSet_, id, now); }
    void readPaths(int subclient, const UseRow& use) override {
        id_ = subclient;
        for (paths_.execute(); paths_.fetch();)
            use(column<"id">(path_), column<"fileName">(path_));
    }
    void retirePath(int id, Time now) override { run(retirePath_, id, now); }
    void addPath(int subclient, const std::string& path, Time now) override {
        text_ = path;
        run(addPath_, subclient, now);
    }
    void readProperty(int subclient, const std::string& name, const UseRow& use) override {
        id_ = subclient;
        name_ = name;
        for (property_.execute(); property_.fetch();)
            use(column<"id">(propertyRow_), column<"attrVal">(propertyRow_));
    }
    void retireProperty(int id, Time now) override { run(retireProperty_, id, now); }
    void addProperty(int subclient, const std::string& name, int type, const std::string& value, Time now) override {
        name_ = name;
        type_ = type;
        text_ = value;
        run(addProperty_, subclient, now);
    }

  private:
    bool settle(const std::vector<std::string>& settings) {
        for (const auto& setting : settings)
            session_ << setting;
        return true;
    }
    template <class Row> soci::details::prepare_temp_type select(const std::string& sql, Row& row, bool named = false) {
        auto prepared = session_.prepare << sql;
        prepared, soci::use(id_);
        if (named)
            prepared, soci::use(name_);
        bindRow(prepared, row);
        return prepared;
    }
    void run(soci::statement& statement, int id, Time now) {
        id_ = id;
        now_ = now;
        statement.execute(true);
        if (statement.get_affected_rows() != 1)
            throw std::runtime_error("SOCI changed no row");
    }

    const ChangeSql sql_{[](int number) { return ":p" + std::to_string(number); }};
    SociSession session_;
    std::string begin_;
    bool settled_;
    int id_ = 0;
    int type_ = 0;
    long long now_ = 0;
    std::string name_;
    std::string text_;
    SociRow<APP_Application_t2> subclientRow_;
    SociRow<APP_ScFilterFile_t2> path_;
    SociRow<APP_SubClientProp_t2> propertyRow_;
    soci::statement subclient_;
    soci::statement markSet_;
    soci::statement paths_;
    soci::statement retirePath_;
    soci::statement addPath_;
    soci::statement property_;
    soci::statement retireProperty_;
    soci::statement addProperty_;
};

} // namespace

std::unique_ptr<ChangeStatements> sociChanges(const std::string& url, const std::vector<std::string>& settings) {
    return std::make_unique<SociChanges>(url, settings);
}

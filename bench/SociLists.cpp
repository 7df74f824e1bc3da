#include "SociLists.h"

#include <optional>

#include "RawLists.h"
#include "SociSession.h"

namespace {

class SociClients : public ListReader<VSDK_Client> {
  public:
    explicit SociClients(const std::string& url)
        : session_(url), statement_((session_.prepare << kSelectClients, soci::into(id_), soci::into(name_, nulls_[0]),
                                     soci::into(systemId_, nulls_[1]), soci::into(status_, nulls_[2]),
                                     soci::into(osName_, nulls_[3]), soci::into(releaseId_, nulls_[4]))) {}

    void fetch(const std::function<void(const Entities&)>& look) override {
        HandMadeList<VSDK_Client> list;
        statement_.execute();
        while (statement_.fetch()) {
            auto client = std::make_unique<VSDK_Client>(id_);
            client->name = name_;
            client->simSystemOSId = systemId_;
            client->status = status_;
            client->osName = osName_;
            client->releaseId = releaseId_;
            list.append(std::move(client));
        }
        look(list.elements);
    }

  private:
    SociSession session_;
    int id_ = 0;
    std::string name_;
    int systemId_ = 0;
    int status_ = 0;
    std::string osName_;
    int releaseId_ = 0;
    soci::indicator nulls_[5]{};
    soci::statement statement_;
};

/// The rows of one table by a key.
template <class Descriptor> class SociRows {
  public:
    SociRows(soci::session& session, const std::string& condition, bool kept)
        : session_(session), sql_(selectFrom<Descriptor>("WHERE " + condition)) {
        if (kept)
            kept_.emplace(prepared());
    }

    template <class Use> void one(Use use, int key) {
        if (kept_.has_value()) {
            key_ = key;
            if (kept_->execute(true)) {
                use(row_);
                kept_->fetch(); // lets go of its lock
            }
            return;
        }
        {
            auto once = session_ << sql_;
            once, soci::use(key);
            bindRow(once, row_);
        } // it is prepared and run when the text ends
        if (session_.got_data())
            use(row_);
    }
    template <class Use> void each(Use use, int key) {
        key_ = key;
        if (kept_.has_value())
            return run(*kept_, use);
        soci::statement statement(prepared());
        run(statement, use);
    }

  private:
    soci::details::prepare_temp_type prepared() {
        auto statement = session_.prepare << sql_;
        statement, soci::use(key_);
        bindRow(statement, row_);
        return statement;
    }
    template <class Use> void run(soci::statement& statement, Use& use) {
        statement.execute();
        while (statement.fetch())
            use(row_);
    }

    soci::session& session_;
    std::string sql_;
    int key_ = 0;
    SociRow<Descriptor> row_;
    std::optional<soci::statement> kept_;
};

/// A session, as SubclientsOneByOne needs it.
class SociSource {
  public:
    template <class Descriptor> using Rows = SociRows<Descriptor>;

    SociSource(const std::string& url, bool kept) : session_(url), kept_(kept) {}

    template <class Descriptor> Rows<Descriptor> rows(const std::string& key, const std::string& more) {
        return Rows<Descriptor>(session_, key + "=:key" + more, kept_);
    }
    std::vector<int> idsIn(const BenchBackupSet& set) {
        std::vector<int> ids;
        int id = 0;
        std::string name;
        soci::statement statement((session_.prepare << selectSubclients({":client", ":type", ":instance", ":set"}),
                                   soci::use(set.clientId), soci::use(set.appTypeId), soci::use(set.instanceId),
                                   soci::use(set.backupSetId), soci::into(id), soci::into(name)));
        statement.execute();
        while (statement.fetch())
            ids.push_back(id);
        return ids;
    }

  private:
    SociSession session_;
    bool kept_;
};

} // namespace

std::unique_ptr<ListReader<VSDK_Client>> sociClients(const std::string& url) {
    return std::make_unique<SociClients>(url);
}

std::unique_ptr<ListReader<VSDK_Subclient>> sociSubclients(const BenchBackupSet& set, const std::string& url,
                                                           bool keptStatements) {
    return std::make_unique<SubclientsOneByOne<SociSource>>(set, url, keptStatements);
}

#include "appmgr/SubclientConf.h"

#include <string_view>
#include <unordered_map>
#include <utility>

#include "Db/Tbl/APP_ScFilterFile.h"
#include "appmgr/EntityId.h"
#include "appmgr/SubclientChange.h"
#include "db/DBText.h"
#include "db/EachRow.h"

SubclientConf::SubclientConf(unsigned long subclientId) : Subclient(appmgr::idOf(subclientId)) {}

SubclientConf::~SubclientConf() = default;

int SubclientConf::initContent(void* transaction, bool /*content*/, bool /*filters*/) {
    APP_ScFilterFile rows(static_cast<DBtran*>(transaction));
    rows.setIsolationType(4);
    rows.setWhere("componentNameId=%d and type=1 and modified=0", id());
    entries_.clear();
    const int status = eachRow(rows, [this](const APP_ScFilterFile_t& row) {
        if (!row.fileName.isNull)
            entries_.push_back({row.id, row.fileName.bytes});
    });
    entriesRead_ = status == kDbOk;
    return status;
}

int SubclientConf::updateContent(int what, const BackupContent& content, const BackupContent& /*reserved*/,
                                 bool /*reserved*/, void* transaction, int* /*code*/) {
    constexpr int kBackedUp = 1;
    return SubclientChange(id(), transaction).make([&](SubclientChange& change) -> int {
        if (what != kBackedUp || !entriesRead_)
            return change.refuse(kDbBadStatement, "there is no content to be changed");
        // Whether a text that is to be there is there already.
        std::unordered_map<std::string_view, bool> wanted;
        wanted.reserve(static_cast<std::size_t>(content.end() - content.begin()));
        for (const std::string& text : content)
            wanted.emplace(text, false);
        APP_ScFilterFile row(change.transaction());
        row.setIsolationType(4);
        for (const Entry& entry : entries_) {
            const auto found = wanted.find(entry.text);
            if (found != wanted.end() && !found->second) {
                found->second = true;
                continue;
            }
            int status = change.beforeWrite();
            if (status != kDbOk)
                return status;
            row.setWhere("id=%d", entry.id);
            status = row.rowUpdate("modified = %lld", static_cast<long long>(change.now()));
            if (status != kDbOk)
                return status;
        }
        for (const std::string& text : content) {
            if (std::exchange(wanted.at(text), true))
                continue;
            if (const int status = change.beforeWrite(); status != kDbOk)
                return status;
            row.dataBindClear();
            APP_ScFilterFile_t& added = *row.getDataPtr();
            added.componentNameId = id();
            added.type = kBackedUp;
            dbSetText(added.fileName, text);
            added.created = change.now();
            if (const int status = row.rowInsert(false); status != kDbOk)
                return status;
        }
        entriesRead_ = false;
        return kDbOk;
    });
}

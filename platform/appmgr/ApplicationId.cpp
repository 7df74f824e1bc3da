#include "appmgr/ApplicationId.h"

#include "Db/Tbl/APP_Application.h"

namespace {

constexpr int kNotRead = 1;

} // namespace

ApplicationId::ApplicationId(unsigned long level, unsigned long id) : level_(level), id_(id), status_(kNotRead) {}

int ApplicationId::read(void* transaction) {
    if (status_ != kNotRead)
        return status_;
    if (level_ != kSubclientLevel)
        return status_ = kDbNoRow;
    APP_Application row(static_cast<DBtran*>(transaction));
    row.setIsolationType(4);
    row.setWhere("id=%d", static_cast<int>(id_));
    status_ = getOneRow(&row, false, -1, 0);
    if (status_ == kDbOk) {
        constexpr std::size_t kAppTypeColumn = 2;
        static_assert(APP_Application_t2::kColumns[kAppTypeColumn].offset == offsetof(APP_Application_t, appTypeId));
        subclient_ = std::make_unique<Subclient>(*row.getDataPtr());
        const int type = row.getDataPtr()->appTypeId;
        if (row.getIndicator(kAppTypeColumn) == 0 && type != -1)
            appType_ = static_cast<unsigned long>(type);
    }
    return status_;
}

Subclient* ApplicationId::getSubclient(void* transaction) {
    return read(transaction) == kDbOk ? subclient_.get() : nullptr;
}

int ApplicationId::getAppType(unsigned long& appType, void* transaction) {
    const int status = read(transaction);
    appType = appType_;
    return status;
}

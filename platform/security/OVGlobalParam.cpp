#include "security/OVGlobalParam.h"

#include "Db/Tbl/ZXGlobalParam.h"
#include "system/OVClock.h"

int OVGlobalParam::get(const std::string& name, std::string& value, void* transaction) {
    ZXGlobalParam parameter(static_cast<DBtran*>(transaction));
    parameter.setIsolationType(4);
    parameter.setWhere("name='%s'", dbText(name));
    const int status = getOneRow(&parameter, false, -1, 0);
    if (status == kDbOk)
        value = parameter.getDataPtr()->value.bytes;
    return status == kDbNoRow ? kNotSet : status;
}

int OVGlobalParam::set(const std::string& name, const std::string& value, void* transaction) {
    ZXGlobalParam parameter(static_cast<DBtran*>(transaction));
    const auto now = static_cast<long long>(OVClock::now());
    parameter.setWhere("name='%s'", dbText(name));
    const int status = parameter.rowUpdate("value='%s', modified=%lld", dbText(value), now);
    if (status != kDbNoRow)
        return status;
    auto& row = *parameter.getDataPtr();
    dbSetText(row.name, name);
    dbSetText(row.value, value);
    row.created = row.modified = now;
    return parameter.rowInsert(true);
}

int OVGlobalParam::remove(const std::string& name, void* transaction) {
    ZXGlobalParam parameter(static_cast<DBtran*>(transaction));
    parameter.setWhere("name='%s'", dbText(name));
    const int status = parameter.rowDelete();
    return status == kDbNoRow ? kNotSet : status;
}

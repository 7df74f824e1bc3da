#include "jobmgr/JMActivityCtrl.h"

#include "Db/Tbl/JMActivityControl.h"

int JMActivityCtrl::isSubclientEnabled(int subclientId, bool& enabled, OVOpType opType) {
    JMActivityControl control(nullptr);
    control.setIsolationType(4);
    control.setWhere("subclientId=%d and opType=%d", subclientId, static_cast<int>(opType));
    const int status = getOneRow(&control, false, -1, 0);
    enabled = status == kDbNoRow || (status == kDbOk && control.getDataPtr()->enabled != 0);
    return status == kDbNoRow ? kDbOk : status;
}

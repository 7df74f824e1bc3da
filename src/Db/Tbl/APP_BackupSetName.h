#pragma once

#include "Db/Tbl/Accessor.h"

/// A backup set.
struct APP_BackupSetName_t {
    std::int32_t id;
    char name[257];
    std::int64_t refTime;
    std::int64_t modified;
    std::int32_t status;
    std::int32_t ccpId;
    std::int64_t ccpTime;
    std::int32_t origHCId;
    char GUID[65];
};

class VSDKPLATFORM_API APP_BackupSetName_t2 : public OVDBRow<APP_BackupSetName_t2> {
  public:
    using Row = APP_BackupSetName_t;
    static constexpr std::array kColumns{
        COLUMN(Row, id).serial(),     COLUMN(Row, name),     COLUMN(Row, refTime).time(),
        COLUMN(Row, modified).time(), COLUMN(Row, status),   COLUMN(Row, ccpId),
        COLUMN(Row, ccpTime).time(),  COLUMN(Row, origHCId), COLUMN(Row, GUID)};
    static constexpr OVDBRowDeclaration kRow = ovdbTable<Row, kColumns>("APP_BackupSetName", "1.23.2.3");
};

class APP_BackupSetName : public TableAccessor<APP_BackupSetName_t2> {
  public:
    using TableAccessor::TableAccessor;
};

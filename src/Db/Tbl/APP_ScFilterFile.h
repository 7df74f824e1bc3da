#pragma once

#include "Db/Tbl/Accessor.h"

/// A content or filter path of a subclient; the current one has `modified` 0.
struct APP_ScFilterFile_t {
    std::int32_t id;
    std::int32_t componentNameId;
    std::int32_t type; ///< 1 content, 2 exclude, 3 exception to an exclude
    OVDBText fileName;
    std::int64_t created;
    std::int64_t modified;
    std::int32_t ccpId;
};

class VSDKPLATFORM_API APP_ScFilterFile_t2 : public OVDBRow<APP_ScFilterFile_t2> {
  public:
    using Row = APP_ScFilterFile_t;
    static constexpr std::array kColumns{
        COLUMN(Row, id).serial(),    COLUMN(Row, componentNameId).refersTo("APP_Application"),
        COLUMN(Row, type),           COLUMN(Row, fileName),
        COLUMN(Row, created).time(), COLUMN(Row, modified).time(),
        COLUMN(Row, ccpId)};
    static constexpr OVDBRowDeclaration kRow = ovdbTable<Row, kColumns>("APP_ScFilterFile", "1.14.62.3");
};

class APP_ScFilterFile : public TableAccessor<APP_ScFilterFile_t2> {
  public:
    using TableAccessor::TableAccessor;
};

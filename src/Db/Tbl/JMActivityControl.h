#pragma once

#include "Db/Tbl/Accessor.h"

/// Whether an operation type is enabled for a subclient; no row means enabled.
struct JMActivityControl_t {
    std::int32_t subclientId;
    std::int32_t opType;
    std::int32_t enabled; ///< 1 or 0
};

class VSDKPLATFORM_API JMActivityControl_t2 : public OVDBRow<JMActivityControl_t2> {
  public:
    using Row = JMActivityControl_t;
    static constexpr std::array kColumns{COLUMN(Row, subclientId).key().refersTo("APP_Application"),
                                         COLUMN(Row, opType).key(), COLUMN(Row, enabled)};
    static constexpr OVDBRowDeclaration kRow = ovdbTable<Row, kColumns>("JMActivityControl", "1.1.0.0");
};

class JMActivityControl : public TableAccessor<JMActivityControl_t2> {
  public:
    using TableAccessor::TableAccessor;
};

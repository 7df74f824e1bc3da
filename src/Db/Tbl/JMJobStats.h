#pragma once

#include "Db/Tbl/Accessor.h"

/// A finished job.
struct JMJobStats_t {
    std::int32_t jobId;
    std::int32_t status;
    std::int32_t opType;
    std::int32_t hubCellId;
    std::int32_t jobCategory;
    OVDBText jobDescription;
    OVDBText xmlJobInfo;
    std::int32_t subOpType;
    char foreignToken[4097];
};

class VSDKPLATFORM_API JMJobStats_t2 : public OVDBRow<JMJobStats_t2> {
  public:
    using Row = JMJobStats_t;
    static constexpr std::array kColumns{
        COLUMN(Row, jobId).key(), COLUMN(Row, status),      COLUMN(Row, opType),
        COLUMN(Row, hubCellId),   COLUMN(Row, jobCategory), COLUMN(Row, jobDescription),
        COLUMN(Row, xmlJobInfo),  COLUMN(Row, subOpType),   COLUMN(Row, foreignToken)};
    static constexpr OVDBRowDeclaration kRow = ovdbTable<Row, kColumns>("JMJobStats", "1.16.200.2");
};

class JMJobStats : public TableAccessor<JMJobStats_t2> {
  public:
    using TableAccessor::TableAccessor;
};

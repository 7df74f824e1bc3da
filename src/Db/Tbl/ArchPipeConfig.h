#pragma once

#include "Db/Tbl/Accessor.h"

/// The data-transfer settings of a subclient.
struct ArchPipeConfig_t {
    std::int32_t appNumber;
    std::int32_t compressWhere;
    std::int32_t numNWAgents;
    std::int32_t NWWriteSpeed;
};

class VSDKPLATFORM_API ArchPipeConfig_t2 : public OVDBRow<ArchPipeConfig_t2> {
  public:
    using Row = ArchPipeConfig_t;
    static constexpr std::array kColumns{COLUMN(Row, appNumber).key().refersTo("APP_Application"),
                                         COLUMN(Row, compressWhere), COLUMN(Row, numNWAgents),
                                         COLUMN(Row, NWWriteSpeed)};
    static constexpr OVDBRowDeclaration kRow = ovdbTable<Row, kColumns>("ArchPipeConfig", "1.6.304.2");
};

class ArchPipeConfig : public TableAccessor<ArchPipeConfig_t2> {
  public:
    using TableAccessor::TableAccessor;
};

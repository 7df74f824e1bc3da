#pragma once

#include "Db/Tbl/Accessor.h"

/// A client joined to its operating system; every client but the one with id 1.
struct GetClientAndOSInfo_t {
    std::int32_t clientId;
    char name[1021];
    std::int32_t simSystemOSId;
    std::int32_t status;
    char osName[65];
    std::int32_t releaseId;
};

class VSDKPLATFORM_API GetClientAndOSInfo_t2 : public OVDBRow<GetClientAndOSInfo_t2> {
  public:
    using Row = GetClientAndOSInfo_t;
    static constexpr std::array kColumns{COLUMN(Row, clientId).refersTo("APP_Client"),
                                         COLUMN(Row, name),
                                         COLUMN(Row, simSystemOSId).refersTo("SimOperatingSystem"),
                                         COLUMN(Row, status),
                                         COLUMN(Row, osName),
                                         COLUMN(Row, releaseId)};
    static constexpr OVDBRowDeclaration kRow = ovdbCursor<Row, kColumns>("GetClientAndOSInfo");
};

class GetClientAndOSInfo : public ProcedureAccessor<GetClientAndOSInfo_t2, int> {
  public:
    using ProcedureAccessor::ProcedureAccessor;
};

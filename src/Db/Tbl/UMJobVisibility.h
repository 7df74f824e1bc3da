#pragma once

#include "Db/Tbl/Accessor.h"

/// A client whose jobs a user may see; client 0 means all.
struct UMJobVisibility_t {
    std::int32_t userId;
    std::int32_t clientId;
};

class VSDKPLATFORM_API UMJobVisibility_t2 : public OVDBRow<UMJobVisibility_t2> {
  public:
    using Row = UMJobVisibility_t;
    static constexpr std::array kColumns{COLUMN(Row, userId).key().refersTo("UMUsers"),
                                         COLUMN(Row, clientId).key().refersTo("APP_Client")};
    static constexpr OVDBRowDeclaration kRow = ovdbTable<Row, kColumns>("UMJobVisibility", "1.1.0.0");
};

class UMJobVisibility : public TableAccessor<UMJobVisibility_t2> {
  public:
    using TableAccessor::TableAccessor;
};

#pragma once

#include "Db/Tbl/Accessor.h"

/// A user of the hub server.
struct UMUsers_t {
    std::int32_t id;
    char name[1021];
    OVDBText description;
    char login[1021];
    char password[801];
    char email[1021];
    std::int32_t datePasswordSet;
    std::int32_t dateExpires;
    std::int32_t policy;
    std::int32_t enabled;
    std::int32_t flags;
    std::int64_t modified;
    std::int32_t pVer;
    char Pager[256];
    std::int64_t lastLogInTime;
    std::int64_t credSetTime;
    std::int32_t umDSproviderId;
    char userGuid[513];
    char origUserGuid[513];
    std::int32_t origHCId;
    char salt[801];
    std::int32_t companyId;
};

class VSDKPLATFORM_API UMUsers_t2 : public OVDBRow<UMUsers_t2> {
  public:
    using Row = UMUsers_t;
    static constexpr std::array kColumns{COLUMN(Row, id).serial(),
                                         COLUMN(Row, name).wide(),
                                         COLUMN(Row, description).wide(),
                                         COLUMN(Row, login).wide(),
                                         COLUMN(Row, password),
                                         COLUMN(Row, email).wide(),
                                         COLUMN(Row, datePasswordSet),
                                         COLUMN(Row, dateExpires),
                                         COLUMN(Row, policy),
                                         COLUMN(Row, enabled),
                                         COLUMN(Row, flags),
                                         COLUMN(Row, modified).time(),
                                         COLUMN(Row, pVer),
                                         COLUMN(Row, Pager),
                                         COLUMN(Row, lastLogInTime).time(),
                                         COLUMN(Row, credSetTime).time(),
                                         COLUMN(Row, umDSproviderId),
                                         COLUMN(Row, userGuid),
                                         COLUMN(Row, origUserGuid),
                                         COLUMN(Row, origHCId),
                                         COLUMN(Row, salt),
                                         COLUMN(Row, companyId)};
    static constexpr OVDBRowDeclaration kRow = ovdbTable<Row, kColumns>("UMUsers", "1.29.210.11");
};

class UMUsers : public TableAccessor<UMUsers_t2> {
  public:
    using TableAccessor::TableAccessor;
};

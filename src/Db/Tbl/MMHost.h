#pragma once

#include "Db/Tbl/Accessor.h"

/// A media agent, numbered by its client.
struct MMHost_t {
    std::int32_t ClientId;
    std::int32_t MmHostType;
    std::int32_t MmHostSoftState;
    std::int32_t MmHostEnabled;
    std::int32_t OfflineReason;
    std::int64_t OfflineTimeStamp;
    std::int32_t PatchLevel;
    char IndexCacheUser[1025];
    char IndexCachePassword[2049];
    char IndexCachePathName[1025];
    std::int32_t IsIndexShared;
    std::int32_t Attribute;
    std::int32_t ScanIntervalInSec;
    OVDBText Descript;
    std::int32_t MaxReservations;
    std::int32_t RMStatus;
    std::int32_t RMStatusUpdateTime;
    std::int32_t RolesBitMask;
};

class VSDKPLATFORM_API MMHost_t2 : public OVDBRow<MMHost_t2> {
  public:
    using Row = MMHost_t;
    static constexpr std::array kColumns{COLUMN(Row, ClientId).key().refersTo("APP_Client"),
                                         COLUMN(Row, MmHostType),
                                         COLUMN(Row, MmHostSoftState),
                                         COLUMN(Row, MmHostEnabled),
                                         COLUMN(Row, OfflineReason),
                                         COLUMN(Row, OfflineTimeStamp).time(),
                                         COLUMN(Row, PatchLevel),
                                         COLUMN(Row, IndexCacheUser),
                                         COLUMN(Row, IndexCachePassword),
                                         COLUMN(Row, IndexCachePathName),
                                         COLUMN(Row, IsIndexShared),
                                         COLUMN(Row, Attribute),
                                         COLUMN(Row, ScanIntervalInSec),
                                         COLUMN(Row, Descript).wide(),
                                         COLUMN(Row, MaxReservations),
                                         COLUMN(Row, RMStatus),
                                         COLUMN(Row, RMStatusUpdateTime),
                                         COLUMN(Row, RolesBitMask)};
    static constexpr OVDBRowDeclaration kRow = ovdbTable<Row, kColumns>("MMHost", "1.28.294.3");
};

class MMHost : public TableAccessor<MMHost_t2> {
  public:
    using TableAccessor::TableAccessor;
};

#pragma once

#include "Db/Tbl/Accessor.h"

/// A storage policy.
struct ArchGroup_t {
    std::int32_t id;
    std::int32_t defaultCopy;
    char name[577];
    OVDBText description;
    std::int32_t maxStreams;
    std::int32_t type;
    std::int32_t incrSP;
    std::int32_t origHChubCellID;
    std::int32_t origHCarchGroupId;
    std::int32_t defaultSnapCopy;
    std::int32_t SIBlockSizeKB;
    std::int32_t AuxCopyAlertGB;
    std::int32_t AuxCopyAlertDays;
    std::int32_t flags;
    char mediaPassword[2049];
    std::int32_t TimeZoneType;
    char TimeZone[256];
    std::int32_t SubclientExtensionTimeStamp;
    char SubclientExtensionTimeStampEncrypted[2049];
    std::int32_t logSP;
};

class VSDKPLATFORM_API ArchGroup_t2 : public OVDBRow<ArchGroup_t2> {
  public:
    using Row = ArchGroup_t;
    static constexpr std::array kColumns{COLUMN(Row, id).serial(),
                                         COLUMN(Row, defaultCopy),
                                         COLUMN(Row, name).wide(),
                                         COLUMN(Row, description).wide(),
                                         COLUMN(Row, maxStreams),
                                         COLUMN(Row, type),
                                         COLUMN(Row, incrSP),
                                         COLUMN(Row, origHChubCellID),
                                         COLUMN(Row, origHCarchGroupId),
                                         COLUMN(Row, defaultSnapCopy),
                                         COLUMN(Row, SIBlockSizeKB),
                                         COLUMN(Row, AuxCopyAlertGB),
                                         COLUMN(Row, AuxCopyAlertDays),
                                         COLUMN(Row, flags),
                                         COLUMN(Row, mediaPassword),
                                         COLUMN(Row, TimeZoneType),
                                         COLUMN(Row, TimeZone),
                                         COLUMN(Row, SubclientExtensionTimeStamp),
                                         COLUMN(Row, SubclientExtensionTimeStampEncrypted),
                                         COLUMN(Row, logSP)};
    static constexpr OVDBRowDeclaration kRow = ovdbTable<Row, kColumns>("ArchGroup", "1.49.66.4");
};

class ArchGroup : public TableAccessor<ArchGroup_t2> {
  public:
    using TableAccessor::TableAccessor;
};

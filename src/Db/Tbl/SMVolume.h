#pragma once

#include "Db/Tbl/Accessor.h"

/// A volume snapshot.
struct SMVolume_t {
    std::int32_t SMVolumeId;
    std::int32_t jobId;
    std::int32_t hubCellId;
    OVDBText sourcePath;
    std::int64_t creationTime; ///< Unix seconds
    std::int32_t mountStatus;
    std::int32_t mountHostId;
    OVDBText mountPath;
};

class VSDKPLATFORM_API SMVolume_t2 : public OVDBRow<SMVolume_t2> {
  public:
    using Row = SMVolume_t;
    static constexpr std::array kColumns{COLUMN(Row, SMVolumeId).serial(),
                                         COLUMN(Row, jobId),
                                         COLUMN(Row, hubCellId),
                                         COLUMN(Row, sourcePath),
                                         COLUMN(Row, creationTime).time(),
                                         COLUMN(Row, mountStatus),
                                         COLUMN(Row, mountHostId).refersTo("APP_Client"),
                                         COLUMN(Row, mountPath)};
    static constexpr OVDBRowDeclaration kRow = ovdbTable<Row, kColumns>("SMVolume", "1.1.0.0");
};

class SMVolume : public TableAccessor<SMVolume_t2> {
  public:
    using TableAccessor::TableAccessor;
};

#pragma once

#include "Db/Tbl/Accessor.h"

/// An operating system that clients refer to.
struct SimOperatingSystem_t {
    std::int32_t id;
    char Name[65];
    char Type[65];
    char SubType[65];
    char Version[65];
    char PlatformType[65];
};

class VSDKPLATFORM_API SimOperatingSystem_t2 : public OVDBRow<SimOperatingSystem_t2> {
  public:
    using Row = SimOperatingSystem_t;
    static constexpr std::array kColumns{COLUMN(Row, id).serial(), COLUMN(Row, Name),    COLUMN(Row, Type),
                                         COLUMN(Row, SubType),     COLUMN(Row, Version), COLUMN(Row, PlatformType)};
    static constexpr OVDBRowDeclaration kRow = ovdbTable<Row, kColumns>("SimOperatingSystem", "1.5.278.2");
};

class SimOperatingSystem : public TableAccessor<SimOperatingSystem_t2> {
  public:
    using TableAccessor::TableAccessor;
};

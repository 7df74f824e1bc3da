#pragma once

#include "Db/Tbl/Accessor.h"

/// A login session. The database makes its token.
struct UMVSDKSessions_t {
    std::int32_t id;
    std::int32_t userId;
    char GUID[65];                ///< token handed to the client
    std::int32_t evmgrsSessionId; ///< 0 when not connected
    char userName[511];
    char password[401]; ///< encrypted form
    std::int64_t created;
    std::int64_t lastAccessedTime; ///< Unix seconds
    std::int32_t referenceCount;
    char encryptedToken[401];
    char sessionFileLocation[256];
    char hostName[256];
    std::int32_t consoleType;
    std::int32_t timeout; ///< idle time-out, minutes; 0: the service-wide one
    std::int32_t imp_userId;
    std::int32_t tokenExpires;
    char location[4097];
    std::int32_t loginType;
};

class VSDKPLATFORM_API UMVSDKSessions_t2 : public OVDBRow<UMVSDKSessions_t2> {
  public:
    using Row = UMVSDKSessions_t;
    static constexpr std::array kColumns{COLUMN(Row, id).serial(),
                                         COLUMN(Row, userId).refersTo("UMUsers"),
                                         COLUMN(Row, GUID).given(),
                                         COLUMN(Row, evmgrsSessionId),
                                         COLUMN(Row, userName),
                                         COLUMN(Row, password),
                                         COLUMN(Row, created).time(),
                                         COLUMN(Row, lastAccessedTime).time(),
                                         COLUMN(Row, referenceCount),
                                         COLUMN(Row, encryptedToken),
                                         COLUMN(Row, sessionFileLocation),
                                         COLUMN(Row, hostName),
                                         COLUMN(Row, consoleType),
                                         COLUMN(Row, timeout),
                                         COLUMN(Row, imp_userId).refersTo("UMUsers"),
                                         COLUMN(Row, tokenExpires),
                                         COLUMN(Row, location).given(),
                                         COLUMN(Row, loginType).given()};
    static constexpr OVDBRowDeclaration kRow = ovdbTable<Row, kColumns>("UMVSDKSessions", "1.6.14.8");
};

class UMVSDKSessions : public TableAccessor<UMVSDKSessions_t2> {
  public:
    using TableAccessor::TableAccessor;
};

#pragma once

#include <array>

namespace hubdb {

/// What the row declarations do not say about the tables of the hub database. Nothing here depends on an engine.

/// A column that is never NULL: where an insert does not give it, it is 0 or empty. Key columns are not listed.
struct RequiredColumn {
    const char* table;
    const char* column;
};

inline constexpr std::array kRequiredColumns{
    RequiredColumn{"APP_Client", "name"},
    RequiredColumn{"APP_iDAType", "name"},
    RequiredColumn{"APP_IDAName", "clientId"},
    RequiredColumn{"APP_IDAName", "appTypeId"},
    RequiredColumn{"APP_Application", "clientId"},
    RequiredColumn{"APP_Application", "instance"},
    RequiredColumn{"APP_Application", "backupSet"},
    RequiredColumn{"APP_Application", "subclientName"},
    RequiredColumn{"APP_Application", "subclientStatus"},
    RequiredColumn{"APP_InstanceName", "name"},
    RequiredColumn{"APP_BackupSetName", "name"},
    RequiredColumn{"APP_InstanceProp", "componentNameId"},
    RequiredColumn{"APP_InstanceProp", "modified"},
    RequiredColumn{"APP_BackupSetProp", "componentNameId"},
    RequiredColumn{"APP_BackupSetProp", "modified"},
    RequiredColumn{"APP_SubClientProp", "componentNameId"},
    RequiredColumn{"APP_SubClientProp", "modified"},
    RequiredColumn{"APP_ScFilterFile", "componentNameId"},
    RequiredColumn{"APP_ScFilterFile", "type"},
    RequiredColumn{"APP_ScFilterFile", "modified"},
    RequiredColumn{"ArchGroup", "name"},
    RequiredColumn{"JMActivityControl", "enabled"},
    RequiredColumn{"SimOperatingSystem", "Name"},
    RequiredColumn{"UMVSDKSessions", "userId"},
    RequiredColumn{"UMVSDKSessions", "userName"},
    RequiredColumn{"UMVSDKSessions", "created"},
    RequiredColumn{"UMVSDKSessions", "lastAccessedTime"},
    RequiredColumn{"UMVSDKSessions", "referenceCount"},
    RequiredColumn{"UMVSDKSessions", "timeout"},
    RequiredColumn{"UMVSDKSessions", "location"},
    RequiredColumn{"UMVSDKSessions", "loginType"},
    RequiredColumn{"ZXGlobalParam", "name"},
};

/// A column that is never NULL and that the database fills with a token nobody can guess.
struct TokenColumn {
    const char* table;
    const char* column;
};

inline constexpr std::array kTokenColumns{
    TokenColumn{"UMVSDKSessions", "GUID"},
};

/// A column outside the row that always equals another one.
struct MirrorColumn {
    const char* table;
    const char* name;
    const char* of;
};

inline constexpr std::array kMirrorColumns{
    MirrorColumn{"MMHost", "id", "ClientId"}, // some readers ask for it by "id"
};

struct TableIndex {
    const char* table;
    const char* columns;
    bool unique = false;
};

inline constexpr std::array kIndexes{
    TableIndex{"APP_Client", "name"},
    TableIndex{"APP_IDAName", "clientId, appTypeId"},
    TableIndex{"APP_Application", "clientId, appTypeId, instance"},
    TableIndex{"APP_Application", "instance"},
    TableIndex{"APP_Application", "backupSet"},
    TableIndex{"APP_InstanceProp", "componentNameId"},
    TableIndex{"APP_BackupSetProp", "componentNameId"},
    TableIndex{"APP_SubClientProp", "componentNameId"},
    TableIndex{"APP_ScFilterFile", "componentNameId"},
    TableIndex{"ArchGroup", "name"},
    TableIndex{"JMJobEntity", "clientId"},
    TableIndex{"JMJobEntity", "subclientId"},
    TableIndex{"MMHost", "id", true},
    TableIndex{"SMVolume", "jobId"},
    TableIndex{"UMUsers", "login", true},
    TableIndex{"UMVSDKSessions", "GUID", true},
    TableIndex{"UMVSDKSessions", "userName"},
    TableIndex{"UMVSDKSessions", "evmgrsSessionId"},
    TableIndex{"ZXGlobalParam", "name"},
};

} // namespace hubdb

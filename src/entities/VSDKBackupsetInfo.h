#pragma once

#include <string>

#include "VSDKExport.h"
#include "appmgr/BackupSet.h"
#include "entities/VSDKEntityList.h"

struct APP_Application_t;

/// A backup set: a group of subclients of one instance. Also answers what the application manager knows of the set, by
/// reading it at each question. Its creator owns it and one thread uses it at a time; copies are independent.
class VSDKDB_API VSDK_Backupset : public BackupSet, public VSDKDB_Base {
  public:
    int backupSetId;
    std::string name;        ///< UTF-8, at most 256 bytes; empty until fetched, like the other text
    int status;              ///< bits, as APP_BackupSetName has them; 0 until fetched, like the other numbers
    int lastModifiedTime;    ///< Unix seconds, the low 32 bits
    bool onDemand;           ///< the property "On Demand Backupset" is 1
    std::string description; ///< the property "User Description"

    /// Reads nothing yet.
    explicit VSDK_Backupset(int backupSetId);
    ~VSDK_Backupset() override;
    VSDK_Backupset(const VSDK_Backupset&) = default;
    VSDK_Backupset& operator=(const VSDK_Backupset&) = default;

    /// Reads the properties; the row is not used. 0, or 1283 when the set's row is missing, or a read up to `onDemand`
    /// failed; what was read before it stays set. No description is no failure.
    int FetchProperties(APP_Application_t* row);
    /// `lastModifiedTime`.
    int GetLastModifiedTime();
};

/// The backup sets of an instance, by id: those that its subclients name.
class VSDKDB_API VSDK_BackupsetList : public VSDK_EntityList<VSDK_Backupset> {
  public:
    int clientId;
    int appTypeId;
    int instanceId;

    VSDK_BackupsetList(int clientId, int appTypeId, int instanceId);
    ~VSDK_BackupsetList();
    VSDK_BackupsetList& FetchBackupsets(bool fetchProperties);
};

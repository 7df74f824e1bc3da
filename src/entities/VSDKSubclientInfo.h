#pragma once

#include <list>
#include <string>

#include "VSDKExport.h"
#include "entities/VSDKEntityList.h"

class Subclient;
struct APP_Application_t;

/// A database of an SQL subclient.
struct _VSDK_SQLContent {     // NOLINT(bugprone-reserved-identifier): a published name
    int databaseId = 0;       ///< 0 when none is stored
    std::string databaseName; ///< UTF-8
};

/// A subclient: the unit of backup content inside a backup set. Its creator owns it and one thread uses it at a time;
/// copies are independent. All texts are UTF-8; until fetched they and the lists are empty and the numbers 0.
class VSDKDB_API VSDK_Subclient : public VSDKDB_Base {
  public:
    /// Bits of `activityFlags`.
    static constexpr unsigned int kBackupActivity = 0x1;
    static constexpr unsigned int kOperation57Activity = 0x200;
    /// The bits of `status` that leave a subclient out unless all are asked for.
    static constexpr int kLeftOut = 0x2 | 0x4;

    int appTypeId; ///< -1: unset
    int subclientId;
    std::string name;
    int status;                             ///< bits, as APP_Application.subclientStatus has them
    int backupSetModifiedTime;              ///< Unix seconds, low 32 bits, when the backup set was read
    std::string storagePolicyName;          ///< of the data storage policy
    std::list<std::string> content;         ///< paths or entries, separators translated; mailboxes keep byte 18 between
                                            ///< display name, container and mailbox name
    std::list<_VSDK_SQLContent> sqlContent; ///< of the SQL agent types
    int numNWAgents;                        ///< network agents, as ArchPipeConfig has them
    int compressWhere;                      ///< as ArchPipeConfig has it
    unsigned int activityFlags;             ///< kBackupActivity, kOperation57Activity: what is enabled
    int applicationNumber1;                 ///< number of data readers; 0 when none is set
    int applicationNumber2;                 ///< id of the data storage policy
    int applicationNumber3;                 ///< id of the index storage policy
    std::string applicationText;            ///< description
    unsigned long subclientPolicyId;        ///< id of the subclient policy it follows; 0 for none

    /// Reads nothing yet.
    explicit VSDK_Subclient(int subclientId);

    /// Reads the properties; `row`, which stays the caller's, spares the reading of the subclient's own. A subclient
    /// with one of the bits kLeftOut is read only up to its status unless `allSubclients`, which is no failure.
    ///
    /// 0, or 1284 at the first read that fails, which the log tells; what was read before it stays set. No row of
    /// ArchPipeConfig and no content are no failures. Reading once more appends to the lists.
    int FetchProperties(APP_Application_t* row, bool allSubclients);

    int GetSubclientId();
    std::string GetName();
    /// The list itself.
    std::list<std::string>& GetContent();
    int GetStatus();

    using VSDKDB_Base::ReplaceSpecialChars;
    /// The text with the separators of this subclient's agent type translated.
    std::string ReplaceSpecialChars(const std::string& text);

  private:
    void fetchFilterEntries();
    void fetchTransferSettings();
    void fetchSqlContent();
    int fetchMailContent(Subclient& subclient, bool databases);
};

/// The subclients of a backup set, by id.
class VSDKDB_API VSDK_SubclientList : public VSDK_EntityList<VSDK_Subclient> {
  public:
    int clientId;
    int appTypeId;
    int instanceId;
    int backupSetId;

    VSDK_SubclientList(int clientId, int appTypeId, int instanceId, int backupSetId);
    ~VSDK_SubclientList();
    /// Unless `allSubclients`, those with one of the bits VSDK_Subclient::kLeftOut are left out. Their status is known
    /// only with their properties: without these all are listed.
    VSDK_SubclientList& FetchSubclients(bool fetchProperties, bool allSubclients);
};

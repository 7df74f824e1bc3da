#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "VSDKExport.h"
#include "entities/VSDKEntityList.h"

class DBtran;
class FSSubclientConf;
class Subclient;
struct APP_Application_t;

/// A database of an SQL subclient. Names that differ in case are different ones.
struct _VSDK_SQLContent {     // NOLINT(bugprone-reserved-identifier): a published name
    int databaseId = 0;       ///< 0 when none is stored
    std::string databaseName; ///< UTF-8
};

/// A subclient: the unit of backup content inside a backup set. Its creator owns it and one thread uses it at a time;
/// copies share nothing but `stagedContent`. All texts are UTF-8; until fetched they and the lists are empty and the
/// numbers 0.
///
/// A subclient that was read can be changed: setters stage changes in the object, and Commit() writes them, all or
/// none.
///
///     constructed --FetchProperties--> read --setters--> staged --Commit: 0--> committed
///                                                          |  \--Commit: a code--> rolled back, or never begun
///                                                          +--setters--> staged
///
/// Staged changes stay staged, whatever becomes of a commit: the next one writes them again. An object that has
/// committed is read anew, best as a new object, before its next checked commit, which its own change would refuse.
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

    /// What the content of an agent type consists of. Commits can change paths and SQL databases.
    enum class ContentKind : std::uint8_t { kPaths, kSqlDatabases, kMailboxes, kMailDatabases, kOther };
    /// Of paths are the types 1, 11, 12, 13, 17 to 21, 29, 33, 34, 36, 38, 42, 43, 63, 64, 74, 86, 88 and all ones, the
    /// unset type; of SQL databases 4, 16, 70 and 81.
    static ContentKind contentKind(unsigned long appType);

    /// Bits of `changeMask`.
    static constexpr unsigned int kContentStaged = 0x1;
    static constexpr unsigned int kDataStoragePolicyStaged = 0x2;
    static constexpr unsigned int kIndexStoragePolicyStaged = 0x4;

    /// What the end of the last Commit() has come to.
    enum class CommitOutcome : std::uint8_t {
        kNone,    ///< there was none, or its checks refused it
        kDone,    ///< the changes are in the database
        kNotDone, ///< nothing of them is
        kUnknown  ///< the connection was lost while the database committed: they are all there, or none of them is
    };

    // What is staged. Set by the setters, written by Commit(), never cleared.

    std::int64_t dataStoragePolicyId;  ///< 32 bits are used
    std::int64_t indexStoragePolicyId; ///< likewise
    std::string description;           ///< written at every commit, staged or not
    int dataReaders;                   ///< 0: the number stays as it is
    /// Paths; the caller's, who keeps them alive and unchanged until the last commit is over. Null when none are
    /// staged.
    std::vector<std::string>* stagedContent;
    unsigned int changeMask;       ///< kContentStaged ...: what is written beside description and data readers
    unsigned long commitAppTypeId; ///< the agent type, by which the kind of content is told; all ones when it is unset.
                                   ///< Set by CanICommit only, 0 until then
    DBtran* transaction;           ///< of the commit that is under way, else null
    CommitOutcome commitOutcome;

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

    // ---- changes

    /// Stages paths in the place of the content, for agent types whose content is paths. The vector is not copied: the
    /// object keeps the pointer, and reads what it leads to when it commits. An empty vector stages an empty content.
    void SetContent(std::vector<std::string>* paths);
    /// Stages databases in the place of the content, for agent types whose content is SQL databases: replaces
    /// `sqlContent`. Of several with one name the last counts.
    void SetSQLContent(std::list<_VSDK_SQLContent> databases);
    void SetDataStoragePolicy(int id);
    void SetIndexStoragePolicy(int id);
    /// Whoever means to keep the description stages the one that was read, `applicationText`: see Commit().
    void SetDescription(std::string text);
    void setDataReaders(int readers);

    /// Checks, unless `skipChecks`, that the changes are allowed (CanICommit), and writes what is staged in one
    /// transaction: content, data storage policy, index storage policy, description, data readers. At the first failure
    /// all of it is rolled back.
    ///
    /// The description is written at every commit, and the staged one is empty until SetDescription: a commit of
    /// something else takes the description away unless SetDescription(applicationText) was called before.
    ///
    /// Without the checks nobody looks for other editors, active jobs, a subclient policy, or the paths of other
    /// subclients; and content is refused (1548) on an object whose CanICommit never ran, since that finds the agent
    /// type. Rows that say already what is staged are not written; whether others are moves the backup set's time.
    ///
    /// 0 once all steps are done, whatever the commit of the transaction then says: `commitOutcome` tells that. Else
    /// the code of CanICommit; 1546: the transaction could not begin; or the step's:
    /// 1542 no such subclient, its SQL content could not be read, or could not be written before a storage policy; 1538
    /// content; 1548 content of this agent type cannot be changed; 1539 data storage policy; 1545 the backup reference
    /// time that goes with it; 1540 index storage policy; 1800 description, or SQL content before it; 1801 data
    /// readers. The last two have no text in the catalogue. HubDatabase::lastFailure, which begins anew, tells more
    /// where the database or what it was given is to blame.
    int Commit(bool skipChecks);

    /// Whether a commit of the object, which was read, is allowed now; nothing is written. 0, or of these the first
    /// that holds: 1542 there is no such subclient; 1793 its backup set cannot be read; 1794 somebody has changed that
    /// set or a subclient of it since this object was read; 1285 its jobs cannot be listed; 1541 one of them is an
    /// active backup; 1543 its subclient policy cannot be read; 1544 it follows one; 1795 staged file-system content
    /// does not go with that of the other subclients (docs/content.md). A job that starts later is not met.
    /// HubDatabase::lastFailure begins anew.
    int CanICommit();

    /// The steps of Commit(), to be called by it alone: one that would write without its transaction fails instead.
    int CommitContent();
    int CommitDataStoragePolicy();
    int CommitIndexStoragePolicy();
    int CommitDescription();
    int CommitDataReaders();

    /// Replaces the file-system content. 0 or 1538, also when there is no vector.
    int ModifyFileSystemContent();
    /// Replaces the SQL content: databases that are not staged are removed, the staged ones set, and the backup
    /// reference time becomes now. 0, or 1542 when there is no such subclient or the content cannot be read. What fails
    /// later is not told here: it has failed the transaction, so that the next step does.
    int ModifySQLContent();

    /// Whether the staged paths go with those of the other subclients of the backup set. 0 or 1795.
    int CheckContentConsistancy();
    /// Give `conf` this subclient's name and staged paths, and then those of the others that have not bit 0x8 in their
    /// status. 0; 1795 at the first that `conf` refuses, or when the database fails; 1542 no such subclient. Paths that
    /// hold a NUL are passed over: no commit writes them.
    int LoadMe(FSSubclientConf& conf);
    int LoadAllExceptMe(FSSubclientConf& conf);

  private:
    int writeChanges();

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

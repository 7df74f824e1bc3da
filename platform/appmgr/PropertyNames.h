#pragma once

/// Names of properties that the application manager shares with its users. UTF-8, static.
namespace appmgr {

inline constexpr const char* kUserDescription = "User Description";
inline constexpr const char* kOnDemandBackupset = "On Demand Backupset"; ///< "1" or "0"
inline constexpr const char* kSubclientPolicy = "Subclient Policy";      ///< its id
inline constexpr const char* kNumberOfDataReaders = "Number of Data Readers";

inline constexpr const char* kSkiffDriveUserId = "Skiff Drive User Id";
inline constexpr const char* kSkiffDriveUserGuid = "Skiff Drive User GUID";
inline constexpr const char* kUncPathCredentialAssocId = "UNCPath Credential Assoc Id";
inline constexpr const char* kPrePostCredentialAssocId = "prepost Credential Assoc Id";
inline constexpr const char* kUseCredentialRecord = "Use Credential Record";
inline constexpr const char* kDbDumpConfig = "DB Dump Config";
inline constexpr const char* kOracleDbArchiveConfigOptionsXml = "Oracle DB Archive Config Options XML";
inline constexpr const char* kCloudUserId = "Cloud User ID";
inline constexpr const char* kCloudUserPassword = "Cloud User Password";
inline constexpr const char* kAzureSubscriptionId = "Azure Subscription Id";
inline constexpr const char* kAzureTenantId = "Azure Tenant Id";
inline constexpr const char* kAmazonCenterAccessKey = "Amazon Center Access Key";
inline constexpr const char* kAmazonCenterSecretKey = "Amazon Center Secret Key";

/// The job manager's types of backup operations for block-level replication.
inline constexpr const char* kBlockReplicationBackupTypes = "4, 14, 18, 30, 43, 59, 60, 65";

} // namespace appmgr

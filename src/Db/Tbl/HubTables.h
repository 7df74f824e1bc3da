#pragma once

#include <array>

#include "Db/Tbl/APP_Application.h"
#include "Db/Tbl/APP_BackupSetName.h"
#include "Db/Tbl/APP_BackupSetProp.h"
#include "Db/Tbl/APP_Client.h"
#include "Db/Tbl/APP_IDAName.h"
#include "Db/Tbl/APP_InstanceName.h"
#include "Db/Tbl/APP_InstanceProp.h"
#include "Db/Tbl/APP_ScFilterFile.h"
#include "Db/Tbl/APP_SubClientProp.h"
#include "Db/Tbl/APP_iDAType.h"
#include "Db/Tbl/ArchGroup.h"
#include "Db/Tbl/ArchPipeConfig.h"
#include "Db/Tbl/GetBackupSetList.h"
#include "Db/Tbl/GetClientAndOSInfo.h"
#include "Db/Tbl/GetEntitiesIds.h"
#include "Db/Tbl/GetInstanceList.h"
#include "Db/Tbl/GetSubclientList.h"
#include "Db/Tbl/HubSchema.h"
#include "Db/Tbl/JMActivityControl.h"
#include "Db/Tbl/JMCheckUserJobVisibilityV2.h"
#include "Db/Tbl/JMGetRunningJobSummaryVSDK.h"
#include "Db/Tbl/JMJobEntity.h"
#include "Db/Tbl/JMJobInfo.h"
#include "Db/Tbl/JMJobStats.h"
#include "Db/Tbl/MMHost.h"
#include "Db/Tbl/SMVolume.h"
#include "Db/Tbl/Sec_VSDKMaintenance.h"
#include "Db/Tbl/SimGetOSType.h"
#include "Db/Tbl/SimOperatingSystem.h"
#include "Db/Tbl/UMJobVisibility.h"
#include "Db/Tbl/UMUsers.h"
#include "Db/Tbl/UMVSDKSessions.h"
#include "Db/Tbl/ZXGlobalParam.h"
#include "db/HubSchema.h"

/// The tables of the hub database.
inline constexpr std::array kHubTables{
    &APP_Application_t2::kRow,  &APP_BackupSetName_t2::kRow,  &APP_BackupSetProp_t2::kRow,
    &APP_Client_t2::kRow,       &APP_IDAName_t2::kRow,        &APP_InstanceName_t2::kRow,
    &APP_InstanceProp_t2::kRow, &APP_ScFilterFile_t2::kRow,   &APP_SubClientProp_t2::kRow,
    &APP_iDAType_t2::kRow,      &ArchGroup_t2::kRow,          &ArchPipeConfig_t2::kRow,
    &HubSchema_t2::kRow,        &JMActivityControl_t2::kRow,  &JMJobEntity_t2::kRow,
    &JMJobInfo_t2::kRow,        &JMJobStats_t2::kRow,         &MMHost_t2::kRow,
    &SMVolume_t2::kRow,         &SimOperatingSystem_t2::kRow, &UMJobVisibility_t2::kRow,
    &UMUsers_t2::kRow,          &UMVSDKSessions_t2::kRow,     &ZXGlobalParam_t2::kRow,
};

/// Its procedures and cursor queries.
inline constexpr std::array kHubProcedures{
    &GetBackupSetList_t2::kRow,
    &GetClientAndOSInfo_t2::kRow,
    &GetEntitiesIds_t2::kRow,
    &GetInstanceList_t2::kRow,
    &GetSubclientList_t2::kRow,
    &JMCheckUserJobVisibilityV2_t2::kRow,
    &JMGetRunningJobSummaryVSDK_t2::kRow,
    &Sec_VSDKMaintenance_t2::kRow,
    &SimGetOSType_t2::kRow,
};

inline constexpr hubdb::SchemaObjects kHubObjects{kHubTables, kHubProcedures};

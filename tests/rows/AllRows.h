#pragma once

#include <gtest/gtest.h>

#include "Db/Tbl/HubTables.h"

/// The one list of accessors that the tests of rows run over. It is held against what the hub database is made of.
using TableAccessors =
    ::testing::Types<APP_Application, APP_BackupSetName, APP_BackupSetProp, APP_Client, APP_IDAName, APP_InstanceName,
                     APP_InstanceProp, APP_ScFilterFile, APP_SubClientProp, APP_iDAType, ArchGroup, ArchPipeConfig,
                     HubSchema, JMActivityControl, JMJobEntity, JMJobInfo, JMJobStats, MMHost, SMVolume,
                     SimOperatingSystem, UMJobVisibility, UMUsers, UMVSDKSessions, ZXGlobalParam>;
using CallAccessors =
    ::testing::Types<GetBackupSetList, GetClientAndOSInfo, GetEntitiesIds, GetInstanceList, GetSubclientList,
                     JMCheckUserJobVisibilityV2, JMGetRunningJobSummaryVSDK, Sec_VSDKMaintenance, SimGetOSType>;

template <class Tables, class Calls> struct Joined;
template <class... Tables, class... Calls> struct Joined<::testing::Types<Tables...>, ::testing::Types<Calls...>> {
    using Accessors = ::testing::Types<Tables..., Calls...>;
    static constexpr std::size_t kTables = sizeof...(Tables);
    static constexpr std::size_t kCalls = sizeof...(Calls);
};
using AllAccessors = Joined<TableAccessors, CallAccessors>::Accessors;
static_assert(Joined<TableAccessors, CallAccessors>::kTables == kHubTables.size());
static_assert(Joined<TableAccessors, CallAccessors>::kCalls == kHubProcedures.size());

template <class Accessor> struct DescriptorOf {
    template <class D> static D find(const RowAccessor<D>*);
    using Type = decltype(find(static_cast<const Accessor*>(nullptr)));
};

struct AccessorNames {
    template <class Accessor> static std::string GetName(int) { return DescriptorOf<Accessor>::Type::kRow.name; }
};

#include "entities/VSDKInstanceInfo.h"

#include <algorithm>
#include <array>
#include <list>

#include "Db/Tbl/APP_Application.h"
#include "Db/Tbl/APP_InstanceName.h"
#include "Db/Tbl/APP_InstanceProp.h"
#include "Db/Tbl/ArchGroup.h"
#include "appmgr/ClientApplicationList.h"
#include "common/CharUtilities.h"
#include "db/ReadScope.h"

namespace {

constexpr int kFetchFailed = 1282;
/// The agent types with a subclient of the command line, whose storage policies are the instance's.
constexpr std::array kCommandLineTypes{2, 22, 23, 80};

} // namespace

VSDK_Instance::VSDK_Instance(int client, int appType, int instance)
    : clientId(client), appTypeId(appType), instanceId(instance), status(0) {}

int VSDK_Instance::FetchProperties(APP_Application_t* row) {
    int dataPolicyId = 0;
    int logPolicyId = 0;
    if (row == nullptr &&
        std::find(kCommandLineTypes.begin(), kCommandLineTypes.end(), appTypeId) != kCommandLineTypes.end()) {
        APP_Application commandLine(nullptr);
        commandLine.setIsolationType(4);
        commandLine.setWhere("clientId=%d and appTypeId=%d and instance=%d and subclientName like '(command line)'",
                             clientId, appTypeId, instanceId);
        const int read = getOneRow(&commandLine, false, -1, 0);
        if (read == kDbOk) {
            dataPolicyId = commandLine.getDataPtr()->dataArchGrpID;
            logPolicyId = commandLine.getDataPtr()->logArchGrpID;
        } else if (read != kDbNoRow) {
            return kFetchFailed;
        }
    }

    APP_InstanceName instance(nullptr);
    instance.setIsolationType(4);
    instance.setWhere("id=%d", instanceId);
    if (getOneRow(&instance, false, -1, 0) != 0)
        return kFetchFailed;
    name = TruncateToSpecialChars(instance.getDataPtr()->name, appTypeId);
    status = instance.getDataPtr()->status;

    ArchGroup policy(nullptr);
    policy.setIsolationType(4);
    const auto readPolicyName = [&policy](int id, std::string& policyName) {
        if (id == 0)
            return true;
        policy.setWhere("id=%d", id);
        if (getOneRow(&policy, false, -1, 0) != 0)
            return false;
        policyName = toWideString(policy.getDataPtr()->name, 0);
        return true;
    };
    if (!readPolicyName(dataPolicyId, dataStoragePolicyName) || !readPolicyName(logPolicyId, logStoragePolicyName))
        return kFetchFailed;

    APP_InstanceProp property(nullptr);
    property.setIsolationType(4);
    property.setWhere("componentNameId=%d and attrName = 'User Description' and modified = 0", instanceId);
    const int read = getOneRow(&property, false, -1, 0);
    if (read != kDbOk && read != kDbNoRow)
        return kFetchFailed;
    if (read == kDbNoRow)
        description.clear();
    else if (!property.getDataPtr()->attrVal.isNull)
        description = property.getDataPtr()->attrVal.bytes;
    return 0;
}

VSDK_InstanceList::VSDK_InstanceList(int client, int appType) : clientId(client), appTypeId(appType) {}
VSDK_InstanceList::~VSDK_InstanceList() = default;

VSDK_InstanceList& VSDK_InstanceList::FetchInstances(bool fetchProperties) {
    if (fetched)
        return *this;
    hubdb::ReadScope scope(fetchProperties);
    scope.begin();
    std::list<unsigned long> ids;
    std::list<std::string> names;
    ClientApplicationList applications;
    applications.getInstanceList(static_cast<unsigned long>(clientId), static_cast<unsigned long>(appTypeId), ids,
                                 names, nullptr, 1);
    scope.each(APP_InstanceName_t2::kRow, ids, [&](int id) {
        auto instance = std::make_unique<VSDK_Instance>(clientId, appTypeId, id);
        if (fetchProperties)
            (void)instance->FetchProperties(nullptr);
        append(std::move(instance));
    });
    fetched = true;
    return *this;
}

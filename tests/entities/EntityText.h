#pragma once

#include <sstream>
#include <string>
#include <utility>

#include "entities/VSDKAppTypeInfo.h"
#include "entities/VSDKBackupsetInfo.h"
#include "entities/VSDKClientInfo.h"
#include "entities/VSDKInstanceInfo.h"
#include "entities/VSDKMediaAgentInfo.h"
#include "entities/VSDKSnapsInfo.h"
#include "entities/VSDKStoragePolicyInfo.h"
#include "entities/VSDKSubclientInfo.h"

/// An entity as a text to compare: its fields in their order, | between two.
template <class... Fields> std::string fieldsText(const Fields&... fields) {
    std::ostringstream text;
    const char* between = "";
    ((text << std::exchange(between, "|") << fields), ...);
    return text.str();
}

inline std::string textOf(const VSDK_AppType& agent) {
    return fieldsText(agent.clientId, agent.appTypeId, agent.name, agent.status);
}
inline std::string textOf(const VSDK_Client& client) {
    return fieldsText(client.clientId, client.name, client.simSystemOSId, client.osName, client.status,
                      client.releaseId);
}
inline std::string textOf(const VSDK_Instance& instance) {
    return fieldsText(instance.clientId, instance.appTypeId, instance.instanceId, instance.name,
                      instance.logStoragePolicyName, instance.dataStoragePolicyName, instance.reservedText,
                      instance.status, instance.description);
}
inline std::string textOf(const VSDK_Backupset& set) {
    return fieldsText(set.backupSetId, set.name, set.status, set.lastModifiedTime, set.onDemand, set.description);
}
inline std::string textOf(const VSDK_MediaAgent& agent) {
    return fieldsText(agent.clientId, agent.name);
}
inline std::string textOf(const VSDK_StoragePolicy& policy) {
    return fieldsText(policy.storagePolicyId, policy.name, policy.type, policy.incrSP, policy.flags);
}
inline std::string textOf(const VSDK_Snapshot& snapshot) {
    return fieldsText(snapshot.volumeId, snapshot.sourcePath, snapshot.creationTimeText, snapshot.mounted,
                      snapshot.mountHostName, snapshot.mountPath, snapshot.reservedText, snapshot.creationTime);
}

/// The content of a subclient, ; behind each entry; a database with its id.
inline std::string contentOf(const VSDK_Subclient& subclient) {
    std::string text;
    for (const auto& entry : subclient.content)
        text += entry + ";";
    for (const auto& database : subclient.sqlContent)
        text += database.databaseName + "=" + std::to_string(database.databaseId) + ";";
    return text;
}
inline std::string textOf(const VSDK_Subclient& subclient) {
    return fieldsText(subclient.appTypeId, subclient.subclientId, subclient.name, subclient.status,
                      subclient.backupSetModifiedTime, subclient.storagePolicyName, contentOf(subclient),
                      subclient.numNWAgents, subclient.compressWhere, subclient.activityFlags,
                      subclient.applicationNumber1, subclient.applicationNumber2, subclient.applicationNumber3,
                      subclient.applicationText, subclient.subclientPolicyId);
}

/// A line for each element.
template <class Element> std::string textOf(const VSDK_EntityList<Element>& list) {
    std::string text;
    for (const Element* element : list.elements)
        text += textOf(*element) + "\n";
    return text;
}

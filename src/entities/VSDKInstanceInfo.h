#pragma once

#include <string>

#include "VSDKExport.h"
#include "entities/VSDKEntityList.h"

struct APP_Application_t;

/// An instance: one installation of an agent type on a client, such as one database server. A plain value that its
/// creator owns and one thread uses at a time.
class VSDKDB_API VSDK_Instance : public VSDKDB_Base {
  public:
    int clientId;
    int appTypeId;
    int instanceId;
    std::string name;                  ///< UTF-8, cut at its first separator where the agent type has structured names
    std::string logStoragePolicyName;  ///< of the command line's subclient, for the agent types that have one
    std::string dataStoragePolicyName; ///< the same
    std::string reservedText;          ///< always empty
    int status;                        ///< bits, as APP_InstanceName has them
    std::string description;           ///< the property "User Description"

    /// Texts empty, status 0; reads nothing yet.
    VSDK_Instance(int clientId, int appTypeId, int instanceId);

    /// Reads the properties. 0, or 1282 at the first read that fails; what was read before it stays set. No
    /// command-line subclient and no description are no failures. A row is not read: it only keeps the storage
    /// policies' names empty.
    int FetchProperties(APP_Application_t* row);
};

/// The instances of an agent type on a client, by id: those that its subclients name.
class VSDKDB_API VSDK_InstanceList : public VSDK_EntityList<VSDK_Instance> {
  public:
    int clientId;
    int appTypeId;

    VSDK_InstanceList(int clientId, int appTypeId);
    ~VSDK_InstanceList();
    VSDK_InstanceList& FetchInstances(bool fetchProperties);
};

#pragma once

#include <string>
#include <vector>

#include "VSDKExport.h"
#include "dblayer/VSDKDBLayerBase.h"

struct APP_IDAName_t;

/// An agent of a client: one kind of data agent (file system, a database ...) installed on it.
///
/// A plain value that its creator owns and one thread uses at a time. The database is HubDatabase's (db/HubDatabase.h),
/// which must be connected before a fetch.
class VSDKDB_API VSDK_AppType : public VSDKDB_Base {
  public:
    int clientId;
    int appTypeId;    ///< which kind of agent: the application type id
    std::string name; ///< the display name of that kind, UTF-8, at most 256 bytes; empty until fetched
    int status;       ///< the `status` column of the agent's APP_IDAName row, bits; 0 until fetched

    /// Reads nothing yet.
    VSDK_AppType(int clientId, int appTypeId);

    /// Reads the name, and takes the status from `row`, which stays the caller's; without a row it reads the agent's
    /// own. 0, or 1281 on any failure: when the name cannot be read, name and status stay as they were; when the
    /// agent's row is missing or cannot be read, the name is already set.
    int FetchProperties(APP_IDAName_t* row);
};

/// The agents of one client.
///
///     VSDK_AppTypeList agents(clientId);
///     for (const VSDK_AppType* agent : agents.FetchAppTypes(true).elements)
///         use(agent->appTypeId, agent->name);
///
/// The list owns its elements and deletes them when it is destroyed: copy what must live longer. One thread uses it at
/// a time. It goes from not fetched to fetched once and never back.
class VSDKDB_API VSDK_AppTypeList : public VSDKDB_Base {
  public:
    std::vector<VSDK_AppType*> elements; ///< one per agent, by the id of its row; owned by the list, never null
    bool fetched;                        ///< the rows were read, to the end or to a failure
    int clientId;                        ///< whose agents

    /// Reads nothing yet.
    explicit VSDK_AppTypeList(int clientId);
    ~VSDK_AppTypeList();
    VSDK_AppTypeList(const VSDK_AppTypeList&) = delete;
    VSDK_AppTypeList& operator=(const VSDK_AppTypeList&) = delete;

    /// Reads the client's agents, whatever their status, with name and status if `fetchProperties` is set, and returns
    /// the list itself. Later calls read nothing, whatever their argument.
    ///
    /// A failed read is not reported and not tried again: the list holds what was read before it, and
    /// HubDatabase::lastFailure() tells it from a client without agents. An agent whose properties cannot be read
    /// stays in the list with an empty name and status 0.
    VSDK_AppTypeList& FetchAppTypes(bool fetchProperties);
};

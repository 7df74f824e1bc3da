#pragma once

#include <string>

#include "VSDKExport.h"
#include "entities/VSDKEntityList.h"

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

/// The agents of one client, by the ids of their rows, whatever their status.
class VSDKDB_API VSDK_AppTypeList : public VSDK_EntityList<VSDK_AppType> {
  public:
    int clientId;

    explicit VSDK_AppTypeList(int clientId);
    ~VSDK_AppTypeList();
    VSDK_AppTypeList& FetchAppTypes(bool fetchProperties);
};

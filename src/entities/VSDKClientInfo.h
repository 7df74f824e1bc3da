#pragma once

#include <cstddef>
#include <string>

#include "VSDKExport.h"
#include "entities/VSDKEntityList.h"

struct APP_Client_t;
struct GetClientAndOSInfo_t;

/// A client: a machine known to the hub server. A plain value that its creator owns and one thread uses at a time.
class VSDKDB_API VSDK_Client : public VSDKDB_Base {
  public:
    int clientId;
    std::string name;   ///< UTF-8, at most 510 bytes; empty until fetched, like the other text
    int simSystemOSId;  ///< its operating system; 0 until fetched, like the other numbers
    std::string osName; ///< the operating system's name, UTF-8, at most 64 bytes
    int status;         ///< bits, as APP_Client has them
    int releaseId;      ///< as APP_Client has it

    /// Reads nothing yet.
    explicit VSDK_Client(int clientId);

    /// Fills the properties from `row`, which stays the caller's, or without one from the client's own row, and reads
    /// the operating system's name. 0, or 1280: without a client's row nothing is set, without its operating system's
    /// all but `osName` is.
    int FetchProperties(APP_Client_t* row);
    int FetchProperties(std::nullptr_t /*no row*/) { return FetchProperties(static_cast<APP_Client_t*>(nullptr)); }
    /// Copies the properties from `row`. Always 0; `clientId` stays as it is.
    int FetchProperties(GetClientAndOSInfo_t* row);

    /// The type of the client's operating system, such as "Unix". 0, also for a client that is not known, whose type is
    /// empty; else the database layer's own status (db/DBStatus.h) and `osType` as it was.
    int FetchOsType(std::string& osType);
};

/// All clients but the hub server, which has the id 1, by id, whatever their status. A client whose operating system is
/// not known is not listed.
class VSDKDB_API VSDK_ClientList : public VSDK_EntityList<VSDK_Client> {
  public:
    VSDK_ClientList();
    ~VSDK_ClientList();
    VSDK_ClientList& FetchClients(bool fetchProperties);
};

#pragma once

#include <string>

#include "VSDKExport.h"
#include "entities/VSDKEntityList.h"

struct MMHost_t;

/// A media agent: a client that writes backup data to media. A plain value that its creator owns and one thread uses at
/// a time.
class VSDKDB_API VSDK_MediaAgent : public VSDKDB_Base {
  public:
    int clientId;     ///< which client it is
    std::string name; ///< the client's name, UTF-8, at most 510 bytes; empty until fetched

    /// Reads nothing yet.
    explicit VSDK_MediaAgent(int clientId);

    /// Reads the client's name, and without a row first makes sure that there is such a media agent. 0, or 1286 and the
    /// name as it was.
    int FetchProperties(MMHost_t* row);
};

/// All media agents but the hub server itself, which has the id 1, by id, also those that are disabled or offline.
class VSDKDB_API VSDK_MediaAgentList : public VSDK_EntityList<VSDK_MediaAgent> {
  public:
    VSDK_MediaAgentList();
    ~VSDK_MediaAgentList();
    VSDK_MediaAgentList& FetchMediaAgents(bool fetchProperties);
};

#pragma once

#include <string>

#include "VSDKExport.h"
#include "entities/VSDKEntityList.h"

struct ArchGroup_t;

/// A storage policy: where a subclient's data goes. A plain value that its creator owns and one thread uses at a time.
class VSDKDB_API VSDK_StoragePolicy : public VSDKDB_Base {
  public:
    int storagePolicyId; ///< of its row in ArchGroup
    std::string name;    ///< UTF-8, at most 576 bytes; empty until fetched
    int type;            ///< as ArchGroup has it; 0 until fetched, like the other numbers
    int incrSP;          ///< the policy of incremental backups, as ArchGroup has it
    unsigned int flags;  ///< bits, as ArchGroup has them

    /// Reads nothing yet.
    explicit VSDK_StoragePolicy(int storagePolicyId);

    /// Fills the properties from `row`, which stays the caller's, or without one from the policy's own row. 0, or 1287
    /// when that cannot be read, and nothing is set.
    int FetchProperties(ArchGroup_t* row);
    /// A copy of `name`.
    std::string GetName();
};

/// All storage policies but that with the id 1, by id.
class VSDKDB_API VSDK_StoragePolicyList : public VSDK_EntityList<VSDK_StoragePolicy> {
  public:
    VSDK_StoragePolicyList();
    ~VSDK_StoragePolicyList();
    VSDK_StoragePolicyList& FetchStoragepolicies(bool fetchProperties);
};

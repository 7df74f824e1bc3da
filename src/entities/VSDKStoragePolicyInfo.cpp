#include "entities/VSDKStoragePolicyInfo.h"

#include "Db/Tbl/ArchGroup.h"
#include "db/EachRow.h"

namespace {

constexpr int kFetchFailed = 1287;

} // namespace

VSDK_StoragePolicy::VSDK_StoragePolicy(int storagePolicy)
    : storagePolicyId(storagePolicy), type(0), incrSP(0), flags(0) {}

int VSDK_StoragePolicy::FetchProperties(ArchGroup_t* row) {
    ArchGroup policy(nullptr);
    if (row == nullptr) {
        policy.setIsolationType(4);
        policy.setWhere("id=%d", storagePolicyId);
        if (getOneRow(&policy, false, -1, 0) != 0)
            return kFetchFailed;
        row = policy.getDataPtr();
    }
    name = row->name;
    type = row->type;
    incrSP = row->incrSP;
    flags = static_cast<unsigned int>(row->flags);
    return 0;
}

std::string VSDK_StoragePolicy::GetName() {
    return name;
}

VSDK_StoragePolicyList::VSDK_StoragePolicyList() = default;
VSDK_StoragePolicyList::~VSDK_StoragePolicyList() = default;

VSDK_StoragePolicyList& VSDK_StoragePolicyList::FetchStoragepolicies(bool fetchProperties) {
    if (fetched)
        return *this;
    ArchGroup policies(nullptr);
    policies.setIsolationType(4);
    policies.setWhere("id != 1");
    eachRow(policies, [&](ArchGroup_t& row) {
        auto policy = std::make_unique<VSDK_StoragePolicy>(row.id);
        if (fetchProperties)
            (void)policy->FetchProperties(&row);
        append(std::move(policy));
    });
    fetched = true;
    return *this;
}

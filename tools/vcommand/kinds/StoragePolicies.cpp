#include "entities/VSDKStoragePolicyInfo.h"
#include "vcommand/kinds/Kinds.h"

namespace {

using Policy = VSDK_StoragePolicy;

constexpr int kFetchFailed = 1287;

void list(const Path& /*at*/, const Reading& how, const std::function<void(Policy&)>& visit) {
    VSDK_StoragePolicyList list;
    for (Policy* policy : list.FetchStoragepolicies(how.properties).elements)
        visit(*policy);
}

} // namespace

const Kind& storagePolicyKind() {
    static const KindOf<Policy> kKind(
        {
            .one = "storage policy",
            .many = "storage policies",
            .about = "All storage policies but that with the id 1",
            .fetchFailed = kFetchFailed,
        },
        {
            .id = &Policy::storagePolicyId,
            .name = [](const Path&, const Policy& policy) { return policy.name; },
            .list = list,
            .make = [](const Path&, int id) { return Policy(id); },
            .fetch = [](Policy& policy) { return policy.FetchProperties(nullptr); },
        },
        {{"name", Use::kBrief, &Policy::name},
         {"type", Use::kBrief, &Policy::type},
         {"incrementalPolicy", Use::kBrief, &Policy::incrSP},
         {"flags", Use::kBrief, &Policy::flags}});
    return kKind;
}

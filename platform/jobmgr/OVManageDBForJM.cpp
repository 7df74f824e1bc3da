#include "jobmgr/OVManageDBForJM.h"

#include <algorithm>
#include <array>

#include "schema/OperationTypes.h"

namespace {

template <class Types> bool isOneOf(const Types& types, int number) {
    return std::ranges::find(types, number, &hubdb::OperationType::number) != types.end();
}

} // namespace

OVJobCategory OVManageDBForJM::getJobCategoryFromOpType(OVOpType type) {
    if (type < kFirstOpType || type > kLastOpType)
        return kAnyCategory;
    if (isOneOf(hubdb::kBackupOperations, type))
        return kBackupCategory;
    return isOneOf(hubdb::kRestoreOperations, type) ? kRestoreCategory : kAdministrativeCategory;
}

const char* getBkpLevelName(int level) {
    constexpr std::array kNames{"", "Full", "Incremental", "Synthetic Full", "Differential"};
    return level < 0 || level >= static_cast<int>(kNames.size()) ? "" : kNames[static_cast<std::size_t>(level)];
}

#include "entities/VSDKSnapsInfo.h"
#include "vcommand/kinds/Kinds.h"

namespace {

using Snapshot = VSDK_Snapshot;

constexpr int kFetchFailed = 326;

const Kind& hubCellKind() {
    static const NumberKind kKind({.one = "hub cell", .many = "hub cells", .implied = 2});
    return kKind;
}

const Kind& jobKind() {
    static const NumberKind kKind({.one = "job", .many = "jobs", .above = &hubCellKind()});
    return kKind;
}

void list(const Path& at, const Reading& /*how*/, const std::function<void(Snapshot&)>& visit) {
    VSDK_SnapsList snapshots(at[kJob], 0);
    int code = 0;
    std::string reason;
    snapshots.FetchSnapshots(at[kHubCell], code, reason);
    throwDatabaseFailure(kFetchFailed);
    if (code != 0)
        throw tools::CommandError(tools::kExitFailed, reason, code);
    for (Snapshot* snapshot : snapshots.elements)
        visit(*snapshot);
}

} // namespace

const Kind& snapshotKind() {
    static const KindOf<Snapshot> kKind(
        {
            .one = "snapshot",
            .many = "snapshots",
            .about = "The volume snapshots of a job; their names are their source paths",
            .above = &jobKind(),
            .fetchFailed = kFetchFailed,
        },
        {
            .id = &Snapshot::volumeId,
            .name = [](const Path&, const Snapshot& snapshot) { return snapshot.sourcePath; },
            .list = list,
        },
        {{"sourcePath", Use::kBrief, &Snapshot::sourcePath},
         {"created", Use::kBrief, &Snapshot::creationTimeText},
         {"creationTime", Use::kDetail, &Snapshot::creationTime},
         {"mounted", Use::kBrief, &Snapshot::mounted},
         {"mountHost", Use::kBrief, &Snapshot::mountHostName},
         {"mountPath", Use::kBrief, &Snapshot::mountPath}});
    return kKind;
}

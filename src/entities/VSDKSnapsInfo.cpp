#include "entities/VSDKSnapsInfo.h"

#include <vector>

#include "Db/Tbl/APP_Client.h"
#include "common/CharUtilities.h"
#include "common/VSDKErrors.h"
#include "db/ReadScope.h"
#include "media/OVMMSnapAPI.h"
#include "media/SMVolSnapInfo.h"
#include "system/OVClient.h"

namespace {

constexpr int kFetchFailed = 326;
constexpr int kMounted = 59;

std::unique_ptr<VSDK_Snapshot> snapshotOf(const SMVolumeInfo& volume) {
    auto snapshot = std::make_unique<VSDK_Snapshot>();
    snapshot->volumeId = volume.getSMVolumeId();
    snapshot->sourcePath = toWideString(volume.getSourcePath());
    snapshot->creationTime = volume.getCreationTime();
    snapshot->creationTimeText = toWideString(dateToString(static_cast<unsigned int>(volume.getCreationTime())));
    snapshot->mounted = volume.getMountStatus() == kMounted ? "Yes" : "No";
    snapshot->mountPath = toWideString(volume.getMountPath());
    OVClient host(static_cast<unsigned long>(volume.getMountHostId()));
    std::string name;
    if (host.lookup(nullptr) == 0 && host.getName(name, nullptr) == 0)
        snapshot->mountHostName = toWideString(name);
    return snapshot;
}

} // namespace

VSDK_Snapshot::VSDK_Snapshot() : volumeId(0), creationTime(0) {}

VSDK_SnapsList::VSDK_SnapsList(int job, int second) : jobId(job), secondId(second) {}
VSDK_SnapsList::~VSDK_SnapsList() = default;

VSDK_SnapsList& VSDK_SnapsList::FetchSnapshots(int hubCellId, int& errorCode, std::string& errorText) {
    errorCode = 0;
    if (fetched)
        return *this;
    constexpr int kAccess = 1;
    constexpr int kActionFlags = 2;
    constexpr int kValidFlags = 37;
    hubdb::ReadScope scope;
    scope.begin();
    OVMMSnapAPI snaps(kAccess);
    SMVolSnapInfo request;
    request.setSnapJobId(jobId);
    request.setHubCellId(hubCellId);
    request.setSnapActionFlags(kActionFlags);
    request.setRetrieveValidFlags(kValidFlags);
    (void)snaps.getVolumeSnaps(request);
    if (request.getStatus() != 0) {
        const std::string& words = request.getErrorString();
        errorCode = words.empty() ? kFetchFailed : request.getErrorCode();
        errorText = words.empty() ? GetErrorString(kFetchFailed) : words;
        return *this;
    }
    std::vector<int> hosts;
    for (auto volume = request.volumeListBegin(); volume != request.volumeListEnd(); ++volume)
        hosts.push_back(volume->getMountHostId());
    auto volume = request.volumeListBegin();
    scope.each(APP_Client_t2::kRow, hosts, [&](int /*host*/) { append(snapshotOf(*volume++)); });
    return *this;
}

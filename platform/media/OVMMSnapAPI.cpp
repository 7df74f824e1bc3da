#include "media/OVMMSnapAPI.h"

#include "Db/Tbl/SMVolume.h"
#include "db/EachRow.h"
#include "media/SMVolSnapInfo.h"

OVMMbase::OVMMbase(int access) : access_(access) {}

OVMMbase::~OVMMbase() = default;

int OVMMSnapAPI::getVolumeSnaps(SMVolSnapInfo& request) {
    constexpr int kNoJob = 1;
    std::vector<SMVolumeInfo> found;
    lastError_.clear();
    if (request.getSnapJobId() < 1) {
        lastStatus_ = kNoJob;
    } else {
        SMVolume volumes(nullptr);
        volumes.setIsolationType(4);
        volumes.setWhere("jobId=%d and hubCellId=%d", request.getSnapJobId(), request.getHubCellId());
        lastStatus_ = eachRow(volumes, [&found](const SMVolume_t& row) {
            found.emplace_back(SMVolumeInfo::Values{row.SMVolumeId, row.sourcePath.bytes,
                                                    static_cast<std::int32_t>(row.creationTime), row.mountStatus,
                                                    row.mountHostId, row.mountPath.bytes});
        });
        if (lastStatus_ != kDbOk)
            lastError_ = volumes.getErrorStr(lastStatus_);
    }
    if (lastStatus_ == kDbOk)
        request.answer(std::move(found));
    else
        request.fail(lastStatus_, lastStatus_, lastError_);
    return lastStatus_;
}

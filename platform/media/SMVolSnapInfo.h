#pragma once

#include <string>
#include <utility>
#include <vector>

#include "media/SMVolumeInfo.h"

/// A request for the volume snapshots of a job, and its answer.
class SMVolSnapInfo {
  public:
    void setSnapJobId(int jobId) { jobId_ = jobId; }
    void setHubCellId(int hubCellId) { hubCellId_ = hubCellId; }
    /// Kept with the request: what every request asks for is the list of its volumes.
    void setSnapActionFlags(int flags) { actionFlags_ = flags; }
    /// Kept with the request: all of a volume's fields are always filled.
    void setRetrieveValidFlags(int flags) { validFlags_ = flags; }

    int getSnapJobId() const { return jobId_; }
    int getHubCellId() const { return hubCellId_; }
    int getSnapActionFlags() const { return actionFlags_; }
    int getRetrieveValidFlags() const { return validFlags_; }

    /// 0 once the request was answered.
    int getStatus() const { return status_; }
    /// Of a failure: its code, and its words, which may be empty.
    int getErrorCode() const { return errorCode_; }
    const std::string& getErrorString() const { return errorString_; }
    std::vector<SMVolumeInfo>::const_iterator volumeListBegin() const { return volumes_.begin(); }
    std::vector<SMVolumeInfo>::const_iterator volumeListEnd() const { return volumes_.end(); }

    void answer(std::vector<SMVolumeInfo> volumes) {
        status_ = 0;
        volumes_ = std::move(volumes);
    }
    void fail(int status, int errorCode, std::string errorString) {
        status_ = status;
        errorCode_ = errorCode;
        errorString_ = std::move(errorString);
    }

  private:
    int jobId_ = 0;
    int hubCellId_ = 0;
    int actionFlags_ = 0;
    int validFlags_ = 0;
    int status_ = 0;
    int errorCode_ = 0;
    std::string errorString_;
    std::vector<SMVolumeInfo> volumes_;
};

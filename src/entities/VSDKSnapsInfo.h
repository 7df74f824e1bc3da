#pragma once

#include <cstdint>
#include <string>

#include "VSDKExport.h"
#include "entities/VSDKEntityList.h"

/// A volume snapshot that a snapshot backup job made. A plain value; its list fills it.
class VSDKDB_API VSDK_Snapshot : public VSDKDB_Base {
  public:
    int volumeId;
    std::string sourcePath;       ///< what was snapped, UTF-8
    std::string creationTimeText; ///< in the process's time zone; "now" for 0
    std::string mounted;          ///< "Yes" or "No"
    std::string mountHostName;    ///< the client that has it mounted; empty when that is not known
    std::string mountPath;        ///< where, UTF-8
    std::string reservedText;     ///< always empty
    std::int64_t creationTime;    ///< Unix seconds, within 32 bits

    /// Texts empty, numbers 0.
    VSDK_Snapshot();
};

/// The volume snapshots of a job. Unlike other lists it reports failures, is never `fetched`, and each fetch appends
/// what it finds.
class VSDKDB_API VSDK_SnapsList : public VSDK_EntityList<VSDK_Snapshot> {
  public:
    int jobId;
    int secondId; ///< not used

    VSDK_SnapsList(int jobId, int secondId);
    ~VSDK_SnapsList();

    /// Asks the snapshot interface for the job's volumes, by their ids. `errorCode` is 0 when it answered, with any
    /// number of volumes; else the interface's code and `errorText` its words, or 326 and that code's message when it
    /// gave none, and nothing is appended. A mount host that cannot be read is no failure.
    VSDK_SnapsList& FetchSnapshots(int hubCellId, int& errorCode, std::string& errorText);
};

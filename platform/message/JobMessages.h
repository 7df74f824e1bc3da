#pragma once

#include <cstddef>

#include "PlatformExport.h"
#include "message/CNMessageBase.h"

/// The messages of the job manager: what running jobs are asked for, and the answer. docs/messages.md shows each as
/// XML; the procedures of the hub database read and write the same.

namespace OvEntities {

/// A user.
class VSDKPLATFORM_API UserEntity : public CNMessageBase {
  public:
    enum Field : int {
        kUserId = 0 ///< UMUsers.id; 0 is the system itself
    };
    UserEntity();
};

/// Which entity of the estate is meant. 0 stands for any.
class VSDKPLATFORM_API GenericEntity : public CNMessageBase {
  public:
    enum Field : int { kSubclientId = 5, kBackupSetId = 8, kInstanceId = 11, kAppTypeId = 14, kClientId = 17 };
    GenericEntity();
};

} // namespace OvEntities

namespace JobManager {

/// Which running jobs are asked for: those that pass all that is set. An empty list is as one that is not set.
class VSDKPLATFORM_API JobFilter : public CNMessageBase {
  public:
    enum Field : int {
        kUser = 1,    ///< UserEntity: for whom
        kJobIds = 4,  ///< list
        kOpTypes = 5, ///< list: operation types
        kEntity = 9   ///< GenericEntity: what they work on
    };
    JobFilter();
};

class VSDKPLATFORM_API JobListRequest : public CNMessageBase {
  public:
    enum Field : int { kFilter = 2 };
    JobListRequest();
};

} // namespace JobManager

namespace ZorvanUtilities {

/// A running job. What is NULL or empty in the database is not set.
class VSDKPLATFORM_API JobResponseVSDK : public CNMessageBase {
  public:
    enum Field : int {
        kJobId = 1,              ///< integer, always set
        kOperation = 2,          ///< text: the name of the operation type
        kState = 4,              ///< text: "Running", "Pending", "Waiting", "Suspended", "Queued", else a number
        kPhase = 5,              ///< text
        kVisible = 6,            ///< integer, always set: 0: the user may not see the job
        kSourceClient = 6,       ///< text
        kAgentType = 7,          ///< text: its name
        kInstance = 8,           ///< text
        kBackupSet = 9,          ///< text
        kSubclient = 10,         ///< text
        kFailureReason = 14,     ///< text: code CR words LF, any number of them
        kDestinationClient = 15, ///< text: of a backup the client that is backed up
        kUserName = 16,          ///< text: who started it
        kStartTime = 35,         ///< integer of 64 bits: Unix seconds
        kLevel = 36,             ///< integer: backup level, as getBkpLevelName() takes it
        kAgentTypeId = 37,       ///< integer
        kCategory = 50           ///< integer: OVJobCategory
    };
    JobResponseVSDK();
    /// Takes over a message of this type; of another one nothing.
    explicit JobResponseVSDK(CNMessageBase&& message);

    /// A longer failure reason is not read: each of its words may be the end of many reasons.
    static constexpr std::size_t kFailureReasonBytesMax = 4096;
};

/// The answer.
class VSDKPLATFORM_API JobListResponseVSDK : public CNMessageBase {
  public:
    enum Field : int { kJobs = 1 };
    JobListResponseVSDK();
};

} // namespace ZorvanUtilities

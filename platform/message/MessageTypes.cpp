#include "message/MessageTypes.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "message/JobMessages.h"
#include "message/LoginMessages.h"

namespace {

using Kind = MessageFieldKind;
constexpr bool kRequired = true;

constexpr std::array kUserEntityFields{
    MessageField{OvEntities::UserEntity::kUserId, "userId", Kind::kInt32, kRequired},
};

constexpr std::array kGenericEntityFields{
    MessageField{OvEntities::GenericEntity::kSubclientId, "subclientId", Kind::kInt32, kRequired},
    MessageField{OvEntities::GenericEntity::kBackupSetId, "backupSetId", Kind::kInt32, kRequired},
    MessageField{OvEntities::GenericEntity::kInstanceId, "instanceId", Kind::kInt32, kRequired},
    MessageField{OvEntities::GenericEntity::kAppTypeId, "appTypeId", Kind::kInt32, kRequired},
    MessageField{OvEntities::GenericEntity::kClientId, "clientId", Kind::kInt32, kRequired},
};

constexpr std::array kJobFilterFields{
    MessageField{JobManager::JobFilter::kUser, "user", Kind::kMessage, kRequired, &kUserEntityType},
    MessageField{JobManager::JobFilter::kJobIds, "jobIds", Kind::kIntList},
    MessageField{JobManager::JobFilter::kOpTypes, "opTypes", Kind::kIntList},
    MessageField{JobManager::JobFilter::kEntity, "entity", Kind::kMessage, false, &kGenericEntityType},
};

constexpr std::array kJobListRequestFields{
    MessageField{JobManager::JobListRequest::kFilter, "filter", Kind::kMessage, kRequired, &kJobFilterType},
};

using Job = ZorvanUtilities::JobResponseVSDK;
// In the order in which the procedures write them: reading then finds each at once.
constexpr std::array kJobResponseVSDKFields{
    MessageField{Job::kJobId, "jobId", Kind::kInt32, kRequired},
    MessageField{Job::kOperation, "operation", Kind::kText},
    MessageField{Job::kState, "state", Kind::kText},
    MessageField{Job::kPhase, "phase", Kind::kText},
    MessageField{Job::kVisible, "visible", Kind::kInt32, kRequired},
    MessageField{Job::kSourceClient, "sourceClient", Kind::kText},
    MessageField{Job::kAgentType, "agentType", Kind::kText},
    MessageField{Job::kInstance, "instance", Kind::kText},
    MessageField{Job::kBackupSet, "backupSet", Kind::kText},
    MessageField{Job::kSubclient, "subclient", Kind::kText},
    MessageField{Job::kFailureReason, "failureReason", Kind::kText, false, nullptr, Job::kFailureReasonBytesMax},
    MessageField{Job::kDestinationClient, "destinationClient", Kind::kText},
    MessageField{Job::kUserName, "userName", Kind::kText},
    MessageField{Job::kStartTime, "startTime", Kind::kInt64},
    MessageField{Job::kLevel, "level", Kind::kInt32},
    MessageField{Job::kAgentTypeId, "agentTypeId", Kind::kInt32},
    MessageField{Job::kCategory, "jobCategory", Kind::kInt32},
};

constexpr std::array kJobListResponseVSDKFields{
    MessageField{ZorvanUtilities::JobListResponseVSDK::kJobs, "job", Kind::kMessages, false, &kJobResponseVSDKType},
};

constexpr std::array kLoginRequestFields{
    MessageField{EvMgrs::LoginRequest::kUser, "userName", Kind::kText, kRequired},
    MessageField{EvMgrs::LoginRequest::kPassword, "password", Kind::kText, kRequired},
    MessageField{EvMgrs::LoginRequest::kDomain, "domain", Kind::kText},
    MessageField{EvMgrs::LoginRequest::kClientName, "clientName", Kind::kText},
    MessageField{EvMgrs::LoginRequest::kNewPassword, "newPassword", Kind::kText},
};

constexpr bool kOlder = true;
constexpr bool kNewer = false;

} // namespace

constexpr MessageType kUserEntityType{1, "UserEntity", kNewer, kUserEntityFields};
constexpr MessageType kGenericEntityType{2, "GenericEntity", kNewer, kGenericEntityFields};
constexpr MessageType kJobFilterType{3, "JobFilter", kNewer, kJobFilterFields};
constexpr MessageType kJobListRequestType{4, "JobListRequest", kNewer, kJobListRequestFields};
constexpr MessageType kJobResponseVSDKType{5, "JobResponseVSDK", kNewer, kJobResponseVSDKFields};
constexpr MessageType kJobListResponseVSDKType{6, "JobListResponseVSDK", kNewer, kJobListResponseVSDKFields};
constexpr MessageType kLoginRequestType{7, "LoginRequest", kOlder, kLoginRequestFields};

namespace {

constexpr std::array kTypes{&kUserEntityType,      &kGenericEntityType,       &kJobFilterType,   &kJobListRequestType,
                            &kJobResponseVSDKType, &kJobListResponseVSDKType, &kLoginRequestType};

const MessageType* orNull(const MessageType* const* found) {
    return found == kTypes.end() ? nullptr : *found;
}

} // namespace

const MessageType* findMessageType(const char* name) {
    return orNull(std::ranges::find(kTypes, std::string_view(name), &MessageType::name));
}

const MessageType* findMessageType(int tag) {
    return orNull(std::ranges::find(kTypes, tag, &MessageType::tag));
}

OvEntities::UserEntity::UserEntity() : CNMessageBase(kUserEntityType) {}
OvEntities::GenericEntity::GenericEntity() : CNMessageBase(kGenericEntityType) {}
JobManager::JobFilter::JobFilter() : CNMessageBase(kJobFilterType) {}
JobManager::JobListRequest::JobListRequest() : CNMessageBase(kJobListRequestType) {}
ZorvanUtilities::JobResponseVSDK::JobResponseVSDK() : CNMessageBase(kJobResponseVSDKType) {}
ZorvanUtilities::JobResponseVSDK::JobResponseVSDK(CNMessageBase&& message)
    : CNMessageBase(&message.type() == &kJobResponseVSDKType ? std::move(message)
                                                             : CNMessageBase(kJobResponseVSDKType)) {}
ZorvanUtilities::JobListResponseVSDK::JobListResponseVSDK() : CNMessageBase(kJobListResponseVSDKType) {}
EvMgrs::LoginRequest::LoginRequest() : CNMessageBase(kLoginRequestType) {}

#pragma once

#include "Db/Tbl/Accessor.h"

/// A running job.
struct JMJobInfo_t {
    std::int32_t jobId;
    std::int32_t initFrom;
    std::int32_t opType;
    std::int32_t userId;
    std::int32_t clientPriority;
    std::int32_t opPriority;
    std::int32_t appPriority;
    std::int32_t combPriority;
    std::int32_t currentPhase;
    std::int32_t jobStartTime;
    std::int32_t attemptStartTime;
    std::int32_t serverEndTime;
    std::int32_t jobElapsedTime;
    std::int32_t elapsedTime;
    std::int32_t lastStartOrRun;
    OVDBText phaseParams;
    OVDBText restartString;
    std::int32_t startAttempts;
    std::int32_t runAttempts;
    std::int32_t state;
    std::int32_t pendingCause;
    std::int32_t restartable;
    OVDBText appArgs;
    std::int32_t numOfFailures;
    char failureReason[257]; ///< NULL: none
    std::int32_t preemptable;
    std::int32_t taskLinkID;
    std::int32_t percentcomplete;
    std::int32_t displayState;
    std::int32_t hubCellId;
    std::int32_t resourcesAllocated;
    std::int32_t currentContext;
    OVDBText libraryList;
    OVDBText driveList;
    OVDBText opUsername;
    std::int32_t phaseOnSuccess;
    std::int32_t interruptedPhase;
    std::int32_t errorType;
    std::int32_t reservedFlag;
    OVDBText currentPhaseName;
    std::int32_t timeToComplete;
    std::int32_t lastUpdateFromClient;
    std::int64_t lastStateChangeTime;
    std::int32_t jobCategory;
    std::int32_t recoveredFromServiceRestart;
    std::int32_t noOfGUIMonitors;
    std::int32_t isScheduledAlert;
    std::int32_t jobBasedAlertId;
    char alertName[257];
    OVDBText shortMediaAgent;
    std::int64_t seqNumber;
    OVDBText activeFile;
    std::int32_t guiAlertColorLevel;
    OVDBText jobDescription;
    OVDBText xmlJobInfo;
    std::int32_t subOpType;
    char foreignToken[4097];
    std::int32_t preparedJobId;
};

class VSDKPLATFORM_API JMJobInfo_t2 : public OVDBRow<JMJobInfo_t2> {
  public:
    using Row = JMJobInfo_t;
    static constexpr std::array kColumns{COLUMN(Row, jobId).key(),
                                         COLUMN(Row, initFrom),
                                         COLUMN(Row, opType),
                                         COLUMN(Row, userId).refersTo("UMUsers"),
                                         COLUMN(Row, clientPriority),
                                         COLUMN(Row, opPriority),
                                         COLUMN(Row, appPriority),
                                         COLUMN(Row, combPriority),
                                         COLUMN(Row, currentPhase),
                                         COLUMN(Row, jobStartTime),
                                         COLUMN(Row, attemptStartTime),
                                         COLUMN(Row, serverEndTime),
                                         COLUMN(Row, jobElapsedTime),
                                         COLUMN(Row, elapsedTime),
                                         COLUMN(Row, lastStartOrRun),
                                         COLUMN(Row, phaseParams),
                                         COLUMN(Row, restartString),
                                         COLUMN(Row, startAttempts),
                                         COLUMN(Row, runAttempts),
                                         COLUMN(Row, state),
                                         COLUMN(Row, pendingCause),
                                         COLUMN(Row, restartable),
                                         COLUMN(Row, appArgs),
                                         COLUMN(Row, numOfFailures),
                                         COLUMN(Row, failureReason),
                                         COLUMN(Row, preemptable),
                                         COLUMN(Row, taskLinkID),
                                         COLUMN(Row, percentcomplete),
                                         COLUMN(Row, displayState),
                                         COLUMN(Row, hubCellId).key(),
                                         COLUMN(Row, resourcesAllocated),
                                         COLUMN(Row, currentContext),
                                         COLUMN(Row, libraryList),
                                         COLUMN(Row, driveList),
                                         COLUMN(Row, opUsername),
                                         COLUMN(Row, phaseOnSuccess),
                                         COLUMN(Row, interruptedPhase),
                                         COLUMN(Row, errorType),
                                         COLUMN(Row, reservedFlag),
                                         COLUMN(Row, currentPhaseName),
                                         COLUMN(Row, timeToComplete),
                                         COLUMN(Row, lastUpdateFromClient),
                                         COLUMN(Row, lastStateChangeTime),
                                         COLUMN(Row, jobCategory),
                                         COLUMN(Row, recoveredFromServiceRestart),
                                         COLUMN(Row, noOfGUIMonitors),
                                         COLUMN(Row, isScheduledAlert),
                                         COLUMN(Row, jobBasedAlertId),
                                         COLUMN(Row, alertName),
                                         COLUMN(Row, shortMediaAgent),
                                         COLUMN(Row, seqNumber),
                                         COLUMN(Row, activeFile).wide(),
                                         COLUMN(Row, guiAlertColorLevel),
                                         COLUMN(Row, jobDescription),
                                         COLUMN(Row, xmlJobInfo),
                                         COLUMN(Row, subOpType),
                                         COLUMN(Row, foreignToken),
                                         COLUMN(Row, preparedJobId)};
    static constexpr OVDBRowDeclaration kRow = ovdbTable<Row, kColumns>("JMJobInfo", "1.63.208.5");
};

class JMJobInfo : public TableAccessor<JMJobInfo_t2> {
  public:
    using TableAccessor::TableAccessor;
};

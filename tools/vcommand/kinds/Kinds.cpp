#include "vcommand/kinds/Kinds.h"

const std::vector<const Kind*>& kinds() {
    static const std::vector<const Kind*> kAll{&clientKind(),        &agentTypeKind(), &instanceKind(),
                                               &backupSetKind(),     &subclientKind(), &mediaAgentKind(),
                                               &storagePolicyKind(), &snapshotKind()};
    return kAll;
}

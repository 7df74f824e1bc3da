#pragma once

#include "vcommand/Kind.h"

const Kind& clientKind();
const Kind& agentTypeKind();
const Kind& instanceKind();
const Kind& backupSetKind();
const Kind& subclientKind();
const Kind& mediaAgentKind();
const Kind& storagePolicyKind();
const Kind& snapshotKind();

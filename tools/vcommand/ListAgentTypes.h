#pragma once

#include <string>

#include "vcommand/Command.h"

/// The agents of a client, given by id or name. Throws a CommandError.
Answer listAgentTypes(const std::string& client);

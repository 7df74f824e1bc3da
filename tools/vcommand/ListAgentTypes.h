#pragma once

#include <string>

#include "vcommand/Command.h"

/// The agents of a client, given by id or name. Throws a tools::CommandError.
Answer listAgentTypes(const std::string& client);

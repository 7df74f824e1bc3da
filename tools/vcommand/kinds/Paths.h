#pragma once

#include <vector>

#include "Db/Tbl/APP_Application.h"
#include "vcommand/Kind.h"

/// Where the subclients that the accessor's filter finds lie, each place once: the paths down to, and with, `last`.
/// Throws a tools::CommandError with `code` when the database fails.
std::vector<Path> pathsOf(APP_Application& subclients, PathPlace last, int code);

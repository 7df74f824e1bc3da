#pragma once

#include <memory>
#include <string>

#include "BackupSets.h"
#include "ListReader.h"

/// The lists through SOCI, on a session of their own each: typed variables, from which the objects are filled.

/// From a kept statement.
std::unique_ptr<ListReader<VSDK_Client>> sociClients(const std::string& url);
/// The reads of SubclientsOneByOne, each a statement that is prepared for it, as SOCI's manual shows it, or a kept one.
std::unique_ptr<ListReader<VSDK_Subclient>> sociSubclients(const BenchBackupSet& set, const std::string& url,
                                                           bool keptStatements);

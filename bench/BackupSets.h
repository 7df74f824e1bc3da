#pragma once

#include <string>
#include <vector>

/// A backup set with many subclients, and what lists them.
struct BenchBackupSet {
    int clientId;
    int appTypeId;
    int instanceId;
    int backupSetId;
    int subclients;
};

/// The backup sets that addBackupSets() makes: a tenth of `subclients`, as many, ten times as many, and a fiftieth.
struct BenchBackupSets {
    explicit BenchBackupSets(int subclients);

    BenchBackupSet tenth;
    BenchBackupSet whole;
    BenchBackupSet tenfold;
    BenchBackupSet fiftieth;
};

/// Adds the sets to a generated estate, each on a client of its own: file-system subclients with what belongs to them,
/// history and entries that are no content among it. Of 50 subclients one is left out of lists by its status. Throws
/// std::runtime_error.
void addBackupSets(const std::string& url, const BenchBackupSets& sets);

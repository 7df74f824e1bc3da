#pragma once

#include <array>
#include <string>

#include <soci/soci.h>

/// APP_Client read through SOCI as its manual shows it: typed variables, each with its indicator (without one, NULL is
/// an exception). Not in one source with RawReader: SOCI's SQLite header wants sqlite3.h for itself.
class SociReader {
  public:
    /// Throws soci::soci_error, as the others do.
    explicit SociReader(const std::string& file);

    void execute(const char* sql) { session_ << sql; }

    /// Reads one client with a kept statement. Its id, 0 when there is none.
    int readOneKept(int id);
    /// Lets go of the kept statement's lock, which SOCI holds until the next read: it would spare others of this
    /// process the locking that they pay for.
    void endKeptRead();
    /// Reads one client with a statement that is prepared for it. Its id, 0 when there is none.
    int readOneFresh(int id);
    /// Reads all clients by id into the variables. How many they were.
    int readAll();

  private:
    struct Row {
        int id, simOperatingSystemId, offlineEntity, clientSkewTime, ovdPort, evmgrcPort, status, releaseId,
            spaceCheckFlags, ccpId, origHCId, specialClientFlags;
        long long refTime, modified, offlineTimeStamp, ccpTime;
        std::string name, netHostname, clientPassword, hsHostName, clientDescription, jobResultDir, guid, displayName;
    };

    soci::statement prepare(const std::string& sql, int* id);
    template <class Statement> void into(Statement& statement);

    soci::session session_;
    Row row_{};
    std::array<soci::indicator, 24> indicators_{};
    int wantedId_ = 0;
    soci::statement one_;
    soci::statement all_;
};

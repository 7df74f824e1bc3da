#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>

#include "Db/Tbl/APP_Client.h"

/// What all readers have in common: the columns of APP_Client and the statements that read them.

/// Calls `visit` with each member of a row, in the order of the columns.
template <class Row, class Visit> void eachColumn(Row& row, Visit visit) {
    visit(row.id);
    visit(row.name);
    visit(row.simOperatingSystemId);
    visit(row.net_hostname);
    visit(row.client_password);
    visit(row.refTime);
    visit(row.modified);
    visit(row.offlineEntity);
    visit(row.offlineTimeStamp);
    visit(row.hsHostName);
    visit(row.clientDescription);
    visit(row.jobResultDir);
    visit(row.clientSkewTime);
    visit(row.ovdPort);
    visit(row.evmgrcPort);
    visit(row.status);
    visit(row.releaseId);
    visit(row.spaceCheckFlags);
    visit(row.ccpId);
    visit(row.ccpTime);
    visit(row.origHCId);
    visit(row.GUID);
    visit(row.specialClientFlags);
    visit(row.displayName);
}

/// A row as a general library fills it: with strings, and a flag for each column that is NULL.
template <class Null> struct ClientValues {
    int id, simOperatingSystemId, offlineEntity, clientSkewTime, ovdPort, evmgrcPort, status, releaseId,
        spaceCheckFlags, ccpId, origHCId, specialClientFlags;
    long long refTime, modified, offlineTimeStamp, ccpTime;
    std::string name, net_hostname, client_password, hsHostName, clientDescription, jobResultDir, GUID, displayName;
    Null nulls[APP_Client_t2::kColumns.size()];
};

/// `placeholder` stands for the id.
inline std::string selectOneClient(const std::string& placeholder) {
    return std::string("SELECT ") + APP_Client_t2::kRow.columnList + " FROM APP_Client WHERE id=" + placeholder;
}

inline std::string selectAllClients() {
    return std::string("SELECT ") + APP_Client_t2::kRow.columnList + " FROM APP_Client ORDER BY id";
}

// A text into a member of APP_Client_t, as one copies it by hand: bounded, and no more is asked.

template <std::size_t N> void copyText(char (&buffer)[N], const void* text, std::size_t length) {
    const std::size_t kept = std::min(length, N - 1);
    if (text != nullptr)
        std::memcpy(buffer, text, kept);
    buffer[kept] = '\0';
}

inline void copyText(OVDBText& owned, const void* text, std::size_t length) {
    owned.bytes.assign(text == nullptr ? "" : static_cast<const char*>(text), length);
}

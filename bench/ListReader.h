#pragma once

#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "entities/VSDKClientInfo.h"
#include "entities/VSDKSubclientInfo.h"

/// One way to fetch a list of entities, on connections that stay open and warm. Failures are exceptions.
template <class Entity> class ListReader {
  public:
    using Entities = std::vector<Entity*>;

    virtual ~ListReader() = default;
    /// Fetches the list, shows it to `look`, and deletes it.
    virtual void fetch(const std::function<void(const Entities&)>& look) = 0;
};

/// A list that is filled by hand: the same objects, owned and deleted in the same way.
template <class Entity> class HandMadeList : public VSDK_EntityList<Entity> {
  public:
    using VSDK_EntityList<Entity>::append;
};

/// What lists are compared by: how many entities, and a hash of all their fields.
struct Digest {
    std::size_t entities = 0;
    std::size_t hash = 0;

    bool operator==(const Digest&) const = default;
    template <class Entity> static Digest of(const std::vector<Entity*>& list) {
        Digest digest;
        for (const Entity* entity : list)
            digest.add(*entity);
        return digest;
    }

  private:
    void add(const VSDK_Client& client) {
        ++entities;
        add(client.clientId, client.name, client.simSystemOSId, client.osName, client.status, client.releaseId);
    }
    void add(const VSDK_Subclient& subclient) {
        ++entities;
        add(subclient.appTypeId, subclient.subclientId, subclient.name, subclient.status,
            subclient.backupSetModifiedTime, subclient.storagePolicyName, subclient.numNWAgents,
            subclient.compressWhere, subclient.activityFlags, subclient.applicationNumber1,
            subclient.applicationNumber2, subclient.applicationNumber3, subclient.applicationText,
            subclient.subclientPolicyId, subclient.content.size(), subclient.sqlContent.size());
        for (const auto& text : subclient.content)
            add(text, 0);
        for (const auto& database : subclient.sqlContent)
            add(database.databaseName, database.databaseId);
    }
    template <class First, class Second, class... More>
    void add(const First& first, const Second& second, const More&... more) {
        const auto one = [this](const auto& value) {
            constexpr std::size_t kFactor = 0x9E3779B97F4A7C15U;
            hash = (hash ^ std::hash<std::decay_t<decltype(value)>>()(value)) * kFactor;
            hash ^= hash >> 29U;
        };
        one(first), one(second), (one(more), ...);
    }
};

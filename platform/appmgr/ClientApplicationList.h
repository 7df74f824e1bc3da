#pragma once

#include <list>
#include <string>

#include "PlatformExport.h"

/// What is installed on a client, from top to bottom. Instances and backup sets are those that the client's subclients
/// name, be their own rows there or not. Each operation fills its lists anew, entry by entry, by id; names are empty
/// where the row that holds them is missing. An agent type of all ones is the unset one. `transaction` is a DBtran*,
/// null for none; the flag is not used.
///
/// 0, or a status of db/DBStatus.h: then the lists hold what was read before the failure. For a client, agent type,
/// instance or backup set that does not exist they are empty.
class VSDKPLATFORM_API ClientApplicationList {
  public:
    int getInstanceList(unsigned long clientId, unsigned long appTypeId, std::list<unsigned long>& ids,
                        std::list<std::string>& names, void* transaction, int flag);
    /// `flags`: whether a set is an on-demand one.
    int getBackupSetList(std::list<unsigned long>& ids, std::list<std::string>& names, std::list<bool>& flags,
                         unsigned long clientId, unsigned long appTypeId, unsigned long instanceId, void* transaction,
                         int flag);
    int getSubclientList(std::list<unsigned long>& ids, std::list<std::string>& names, unsigned long clientId,
                         unsigned long appTypeId, unsigned long instanceId, unsigned long backupSetId,
                         void* transaction, int flag);
};

#pragma once

#include <cstdint>

#include "PlatformExport.h"
#include "appmgr/ApplProperties.h"
#include "appmgr/PropCallBack.h"
#include "appmgr/PropertyNames.h"

/// A backup set as the application manager sees it. Holds the id and nothing else until it is asked; each question
/// reads anew. `transaction` is a DBtran*, null for none. One thread uses an object at a time; copies are independent.
class VSDKPLATFORM_API BackupSet : public virtual ApplProperties, public virtual PropCallBack {
  public:
    explicit BackupSet(unsigned long id);
    ~BackupSet() override;
    BackupSet(const BackupSet&) = default;
    BackupSet& operator=(const BackupSet&) = default;

    /// Whether the property "On Demand Backupset" is 1. 0, or a status of db/DBStatus.h and `result` as it was.
    virtual int isOnDemandBackupset(bool& result, void* transaction);
    /// When the set, or a subclient of it, was changed last: Unix seconds, 0 for NULL. It differs from every earlier
    /// one, also after two changes within a second. 0, or a status of db/DBStatus.h (100: no such set) and `time` as it
    /// was.
    virtual int getLastModifiedTime(std::int64_t& time, void* transaction);
    int getProperties(PropertiesList& properties, void* transaction) override;

    int getPropertiesCallback(const char* name, int type, const char* value, int /*flags*/) override {
        cache_.addToPropList(
            ApplProperty::make(name, type, value == nullptr ? std::nullopt : std::optional<std::string>(value)));
        return 0;
    }
    /// Nothing is read ahead of the questions.
    virtual int initAll(void* /*transaction*/) { return 0; }

  private:
    unsigned long id_;
};

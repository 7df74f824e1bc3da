#pragma once

#include <string>

#include "PlatformExport.h"
#include "appmgr/ApplProperties.h"
#include "appmgr/BackupContent.h"

struct APP_Application_t;

/// A subclient as the application manager sees it. Made by ApplicationId from the subclient's row; its settings are
/// read when the first of them is asked for, and stay as they were then. `transaction` is a DBtran*, null for none.
/// Statuses are 0 or those of db/DBStatus.h, and a failure leaves the result as it was.
class VSDKPLATFORM_API Subclient : public ApplProperties {
  public:
    explicit Subclient(const APP_Application_t& row);
    ~Subclient() override;

    virtual const std::string& getName() const { return name_; }
    /// The property "Number of Data Readers"; 0 without one.
    virtual int getNumberOfDataReaders(int& readers, void* transaction);
    virtual int getDataStoragePolicyId() const { return dataPolicyId_; }
    virtual int getIndexStoragePolicyId() const { return indexPolicyId_; }
    /// The property "User Description"; empty without one.
    virtual int getUserDescription(std::string& description, void* transaction);
    /// The property "Subclient Policy"; 0 without one.
    virtual int getSubclientPolicyId(unsigned long& policyId, void* transaction);

    /// Appends what is backed up, its current rows of APP_ScFilterFile with type 1.
    virtual int getBackupContent(BackupContent& content, void* transaction);
    /// The view of the properties that some agent types keep their content in. Never null here.
    virtual ApplProperties* getPropertyView() { return this; }
    /// Reads the properties at every call.
    int getProperties(PropertiesList& properties, void* transaction) override;

  private:
    int readSettings(void* transaction);

    int id_;
    std::string name_;
    int dataPolicyId_;
    int indexPolicyId_;
    bool settingsRead_ = false;
    int settingsStatus_ = 0; ///< of their read
    int readers_ = 0;
    std::string description_;
    unsigned long policyId_ = 0;
};

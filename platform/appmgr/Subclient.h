#pragma once

#include <string>

#include "PlatformExport.h"
#include "appmgr/ApplProperties.h"
#include "appmgr/BackupContent.h"
#include "appmgr/ChangeRefTime.h"

struct APP_Application_t;

/// A subclient as the application manager sees it. Made by ApplicationId from the subclient's row; its settings are
/// read when the first of them is asked for, and stay as they were until one of them is changed. `transaction` is a
/// DBtran*, null for none. Statuses are 0 or those of db/DBStatus.h, and a failure leaves the result as it was.
///
/// A change writes only the rows that differ. One that fails has failed its transaction (db/DBtran.h), and nothing of
/// it stays; without a transaction it has one of its own. kDbConstraint: there is no such subclient.
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

    /// Sets the property "User Description".
    virtual int setUserDescription(std::string description, void* transaction);
    /// Sets the property "Number of Data Readers", 1 at least; else kDbBadValue.
    virtual int setMaxNumberOfStreams(int readers, void* transaction);

    /// Sets the SQL databases among `properties`, which are told apart by their names, byte by byte; of several with
    /// one name the last counts. Databases that are not among them stay, and so do properties of other types. `*code`
    /// is the caller's number for what is done; it may be null and stays as it is.
    virtual int setProperties(const PropertiesList& properties, void* transaction, int* code);
    /// Takes away an SQL database. None of that name is no failure.
    virtual int removeDatabase(const std::string& name, void* transaction, int* code);
    /// Sets the backup reference time.
    virtual int changeReferenceTime(const ChangeRefTime& change, void* transaction);

  protected:
    /// One that is known by its id alone.
    explicit Subclient(int id);

    int id() const { return id_; }

  private:
    int readSettings(void* transaction);
    int setSetting(const char* name, int type, const std::string& value, void* transaction);

    int id_;
    std::string name_;
    int dataPolicyId_ = 0;
    int indexPolicyId_ = 0;
    bool settingsRead_ = false;
    int settingsStatus_ = 0; ///< of their read
    int readers_ = 0;
    std::string description_;
    unsigned long policyId_ = 0;
};

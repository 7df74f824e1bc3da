#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "PlatformExport.h"

/// Types of properties that have a form of their own (APP_*Prop.attrType).
enum ApplPropertyType : int { kMailboxProperty = 111, kMailDatabaseProperty = 112, kSqlDatabaseProperty = 118 };

/// A current property of a backup set or a subclient: the row of an APP_*Prop table whose `modified` is 0. One that is
/// in a list is not changed any more.
class VSDKPLATFORM_API ApplProperty {
  public:
    ApplProperty(std::string name, int type, std::optional<std::string> value)
        : name_(std::move(name)), type_(type), value_(std::move(value)) {}
    virtual ~ApplProperty();

    const std::string& getName() const { return name_; }
    int getType() const { return type_; }
    /// Nothing for NULL.
    const std::optional<std::string>& getValue() const { return value_; }

    /// The property in the class that its type has, ApplProperty itself for most.
    static std::shared_ptr<const ApplProperty> make(std::string name, int type, std::optional<std::string> value);

  protected:
    /// The parts of the value between its separator bytes, by their number from 0; empty where there are fewer.
    std::string part(std::size_t number) const;
    void setValue(std::string value) { value_ = std::move(value); }

  private:
    std::string name_;
    int type_;
    std::optional<std::string> value_;
};

/// A database of an SQL subclient: its name is the property's, its id the value.
class VSDKPLATFORM_API MSSQLDBProperty : public ApplProperty {
  public:
    using ApplProperty::ApplProperty;
    /// One to be set. The second text is not stored.
    explicit MSSQLDBProperty(const std::string& name, const std::string& second = "");

    const std::string& getDBName() const { return getName(); }
    /// 0 without a value, or when it begins with no number.
    int getDBId() const;
    /// Its low 32 bits.
    void setDBId(unsigned long id);
};

/// A mailbox of a mail subclient. Its value holds display name, container and mailbox name.
class VSDKPLATFORM_API ExchangeMBoxProperty : public ApplProperty {
  public:
    using ApplProperty::ApplProperty;
    /// The argument, here and below, is not used: names are stored in one form.
    std::string getDisplayName(bool /*reserved*/) const { return part(0); }
    std::string getContainer() const { return part(1); }
    std::string getMailBoxName(bool /*reserved*/) const { return part(2); }
};

/// A mail database. Its value holds description and store name.
class VSDKPLATFORM_API ExchangeDBProperty : public ApplProperty {
  public:
    using ApplProperty::ApplProperty;
    std::string getDescription() const { return part(0); }
    std::string getStoreName() const { return part(1); }
};

/// Properties in the order of their rows. Copies share them.
class PropertiesList {
  public:
    using Properties = std::vector<std::shared_ptr<const ApplProperty>>;

    void addToPropList(std::shared_ptr<const ApplProperty> property) { properties_.push_back(std::move(property)); }
    void clear() { properties_.clear(); }
    std::size_t size() const { return properties_.size(); }
    Properties::const_iterator begin() const { return properties_.begin(); }
    Properties::const_iterator end() const { return properties_.end(); }

  private:
    Properties properties_;
};

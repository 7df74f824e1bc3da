#include "appmgr/ApplProperty.h"

#include <string_view>

#include "db/NumberOf.h"

namespace {

constexpr char kSeparator = '\x12';

} // namespace

ApplProperty::~ApplProperty() = default;

std::string ApplProperty::part(std::size_t number) const {
    std::string_view rest = value_ ? std::string_view(*value_) : std::string_view();
    for (; number > 0; --number) {
        const std::size_t end = rest.find(kSeparator);
        if (end == std::string_view::npos)
            return "";
        rest.remove_prefix(end + 1);
    }
    return std::string(rest.substr(0, rest.find(kSeparator)));
}

MSSQLDBProperty::MSSQLDBProperty(const std::string& name, const std::string& /*second*/)
    : ApplProperty(name, kSqlDatabaseProperty, std::nullopt) {}

int MSSQLDBProperty::getDBId() const {
    return getValue() ? numberOf(*getValue()) : 0;
}

void MSSQLDBProperty::setDBId(unsigned long id) {
    setValue(std::to_string(static_cast<int>(id)));
}

std::shared_ptr<const ApplProperty> ApplProperty::make(std::string name, int type, std::optional<std::string> value) {
    switch (type) {
    case kMailboxProperty:
        return std::make_shared<ExchangeMBoxProperty>(std::move(name), type, std::move(value));
    case kMailDatabaseProperty:
        return std::make_shared<ExchangeDBProperty>(std::move(name), type, std::move(value));
    case kSqlDatabaseProperty:
        return std::make_shared<MSSQLDBProperty>(std::move(name), type, std::move(value));
    default:
        return std::make_shared<ApplProperty>(std::move(name), type, std::move(value));
    }
}

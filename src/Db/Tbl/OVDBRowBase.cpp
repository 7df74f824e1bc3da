#include "Db/Tbl/OVDBRowBase.h"

#include <algorithm>
#include <memory>
#include <mutex>

namespace {

std::mutex& rowLayerLock() {
    static std::mutex mutex;
    return mutex;
}

std::unique_ptr<OVDBDataTypeBase> makeValue(OVDBColumnKind kind) {
    switch (kind) {
    case OVDBColumnKind::kInt:
        return std::make_unique<OVDB_int>();
    case OVDBColumnKind::kTime:
    case OVDBColumnKind::kInt64:
        return std::make_unique<OVDB___int64>();
    default:
        return std::make_unique<OVDB_string>();
    }
}

} // namespace

OVDBRowBase::~OVDBRowBase() {
    for (auto* value : m_columnVec)
        delete value;
}

void OVDBRowBase::makeValues(const OVDBRowDeclaration& declaration) {
    m_columnVec.reserve(declaration.columns.size());
    for (const auto& column : declaration.columns) {
        auto value = makeValue(column.kind);
        m_columnMap.emplace(column.name, value.get());
        m_columnVec.push_back(value.release());
        if (column.inKey)
            m_primaryKeys.emplace_back(column.name);
        if (column.isSerial)
            m_serialColumn = column.name;
    }
}

std::string OVDBRowBase::getPrimaryWhere() {
    std::string where;
    for (const auto& name : m_primaryKeys) {
        if (!where.empty())
            where += "AND ";
        where += name + " = ?";
    }
    return where;
}

std::vector<OVDBDataTypeBase*> OVDBRowBase::getPrimaryData() {
    std::vector<OVDBDataTypeBase*> values;
    values.reserve(m_primaryKeys.size());
    for (const auto& name : m_primaryKeys)
        values.push_back(m_columnMap.at(name));
    return values;
}

std::string OVDBRowBase::getStructDef() {
    return {};
}

std::string OVDBRowBase::getColumnName(const int& index) {
    return getColumnName_t2(index);
}

std::vector<OVDBDataTypeBase*>& OVDBRowBase::getData() {
    return m_columnVec;
}

void OVDBRowBase::clearValues() {
    for (auto* value : m_columnVec) {
        value->setInternalNull(true);
        value->setUpdated(kNotUpdated);
        value->text.clear();
        if (auto* number = dynamic_cast<OVDB_int*>(value))
            number->value = 0;
        else if (auto* wide = dynamic_cast<OVDB___int64*>(value))
            wide->value = 0;
    }
}

std::string OVDBRowBase::searchForeignKey(std::string column) {
    for (const auto& [table, columns] : getForeignKeyMap())
        if (columns.count(column) != 0)
            return table;
    return {};
}

std::string OVDBRowBase::fillForTime(const char* descriptor) {
    std::string stored = descriptor;
    std::replace(stored.begin(), stored.end(), 'x', 'b');
    return stored;
}

void OVDBRowBase::lock() {
    rowLayerLock().lock();
}

void OVDBRowBase::unLock() {
    rowLayerLock().unlock();
}

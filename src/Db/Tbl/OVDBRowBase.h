#pragma once

#include <atomic>
#include <map>
#include <string>
#include <vector>

#include "Db/Tbl/OVDBColumn.h"
#include "Db/Tbl/OVDBDataType.h"
#include "PlatformExport.h"

/// What the database layer asks of a row: its table, columns, primary key, serial column, type descriptor and foreign
/// keys, and one typed value per column.
///
/// A descriptor owns its typed values; it belongs to one accessor and one thread. The data of a descriptor class are
/// shared by all its objects: filled once, under lock(), by the first that is constructed, only read afterwards.
class VSDKPLATFORM_API OVDBRowBase {
  public:
    using ForeignKeyMap = std::map<std::string, std::map<std::string, std::string>>;

    virtual ~OVDBRowBase();
    OVDBRowBase(const OVDBRowBase&) = delete;
    OVDBRowBase& operator=(const OVDBRowBase&) = delete;

    /// Index of the serial column among the class's columns, -1 when there is none.
    virtual int getSerialColNum() = 0;
    virtual std::string getTableName() = 0;
    /// "a = ?AND b = ?": the primary-key columns in key order, no blank before AND.
    virtual std::string getPrimaryWhere();
    /// The typed values of the primary-key columns, in key order; owned by the descriptor.
    virtual std::vector<OVDBDataTypeBase*> getPrimaryData();
    /// The stored type descriptor, every x written as b. The base's is empty.
    virtual std::string getStructDef();
    virtual void setTableName(std::string name) = 0;
    /// The name at an index of the class's columns, empty outside them.
    virtual const char* getColumnName_t2(const int& index) = 0;
    virtual void pushColumnName(const char* name) = 0;
    /// 1 table, 2 stored procedure, 3 cursor query.
    virtual int getHeaderType() = 0;
    virtual std::string getColumnName(const int& index);
    /// The typed values in column order; owned by the descriptor.
    virtual std::vector<OVDBDataTypeBase*>& getData();
    /// Referenced table -> this table's column -> referenced column.
    virtual ForeignKeyMap getForeignKeyMap() = 0;

    /// Makes every typed value as it was when it was made: NULL, not updated, 0 or empty.
    void clearValues();

    /// The table that `column` refers to, empty when it refers to none.
    std::string searchForeignKey(std::string column);
    /// `descriptor` with every x replaced by b.
    std::string fillForTime(const char* descriptor);

    /// The process-wide lock of the row layer.
    static void lock();
    static void unLock();

  protected:
    OVDBRowBase() = default;

    /// Makes the typed value of each column, and names the key and serial columns.
    void makeValues(const OVDBRowDeclaration& declaration);

    char m_flag = 0;
    std::map<std::string, OVDBDataTypeBase*> m_columnMap;
    std::vector<OVDBDataTypeBase*> m_columnVec; ///< owns the values
    std::string m_serialColumn;
    std::vector<std::string> m_primaryKeys;
};

/// The descriptor of a declared row; `Descriptor` derives from it and declares `kRow`. See any header of this folder.
template <class Descriptor> class VSDKPLATFORM_API OVDBRow : public OVDBRowBase {
  public:
    OVDBRow() {
        m_flag = 1;
        makeValues(Descriptor::kRow);
        if (!s_isInitialized) {
            const Locked locked;
            if (!s_isInitialized) {
                fillClassData();
                s_isInitialized = true;
            }
        }
    }

    int getSerialColNum() override {
        for (std::size_t i = 0; i < m_staticColumnVec.size(); ++i)
            if (m_staticColumnVec[i] == m_serialColumn)
                return static_cast<int>(i);
        return -1;
    }
    std::string getTableName() override { return m_name; }
    std::string getStructDef() override { return structSchema; }
    void setTableName(std::string name) override { m_name = std::move(name); }
    const char* getColumnName_t2(const int& index) override {
        return index >= 0 && static_cast<std::size_t>(index) < m_staticColumnVec.size()
                   ? m_staticColumnVec[static_cast<std::size_t>(index)].c_str()
                   : "";
    }
    void pushColumnName(const char* name) override { m_staticColumnVec.emplace_back(name); }
    int getHeaderType() override { return m_type; }
    ForeignKeyMap getForeignKeyMap() override { return m_foreignKeyMap; }

    inline static std::atomic<bool> s_isInitialized = false;
    inline static std::string m_name;
    inline static int m_type = 0;
    inline static std::string structSchema;
    inline static std::vector<std::string> m_staticColumnVec;
    inline static ForeignKeyMap m_foreignKeyMap;

  private:
    struct Locked {
        Locked() { lock(); }
        ~Locked() { unLock(); }
        Locked(const Locked&) = delete;
        Locked& operator=(const Locked&) = delete;
    };

    void fillClassData() {
        const OVDBRowDeclaration& row = Descriptor::kRow;
        OVDBRow::setTableName(row.object);
        m_type = static_cast<int>(row.kind);
        structSchema = fillForTime(row.typeDescriptor);
        for (const auto& column : row.columns) {
            if (column.referencedTable != nullptr)
                m_foreignKeyMap[column.referencedTable][column.name] = column.referencedColumn;
            OVDBRow::pushColumnName(column.name);
        }
    }
};

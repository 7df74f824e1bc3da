#pragma once

#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>

#include "Db/Tbl/OVDBColumn.h"
#include "Db/Tbl/OVDBRowBase.h"
#include "PlatformExport.h"
#include "db/DBtable.h"
#include "db/DBtran.h"

/// What every accessor owns: its row buffer, the NULL indicators, and in the newer binding mode a typed descriptor.
///
/// An accessor is made, used and destroyed in one function, by one thread:
///
///     APP_Client clients(nullptr);
///     clients.setIsolationType(4);
///     clients.setWhere("id=%d", clientId);
///     if (getOneRow(&clients, false, -1, 0) == 0)
///         use(clients.getDataPtr()->name);
template <class Descriptor> class RowAccessor : public DBtable {
  public:
    using Row = typename Descriptor::Row;
    static constexpr int kKind = static_cast<int>(Descriptor::kRow.kind);

    /// With a null transaction the accessor works outside any.
    explicit RowAccessor(DBtran* transaction = nullptr) : DBtable(Descriptor::kRow, 0, transaction) {
        RowAccessor::dataBindClearFirstTime();
        setExtIndicatorArray(indicators_.data());
        if (b_newDBBase)
            typed_ = takeSpare();
        joinTransaction();
    }

    ~RowAccessor() override {
        if (typed_ != nullptr)
            spare() = std::move(typed_);
    }

    /// The current row: valid after a successful read, overwritten by the next, gone with the accessor.
    Row* getDataPtr() { return &row_; }
    const Row* getDataPtr() const { return &row_; }
    /// In the newer binding mode the typed values of the current row, owned by the accessor; else null.
    Descriptor* getTypedRow() { return typed_.get(); }
    /// The NULL indicator of a column by its index: -1 NULL, else 0.
    short getIndicator(std::size_t index) const { return indicators_[index]; }

    void dataBindClearFirstTime() override { bindRow(&row_); } // which was made empty
    void dataBindClear() override {
        bindRow(&row_);
        clearRow();
    }

  protected:
    OVDBRowBase* typedRow() override { return typed_.get(); }
    std::unique_ptr<OVDBRowBase> makeTypedRow() const override { return std::make_unique<Descriptor>(); }

  private:
    /// A thread keeps one descriptor of each class for its next accessor: making its values anew for every read would
    /// cost more than the read.
    static std::unique_ptr<Descriptor>& spare() {
        thread_local std::unique_ptr<Descriptor> kept;
        return kept;
    }
    static std::unique_ptr<Descriptor> takeSpare() {
        auto typed = std::move(spare());
        if (typed == nullptr)
            return std::make_unique<Descriptor>();
        typed->clearValues();
        return typed;
    }

    Row row_{};
    std::array<short, Descriptor::kColumns.size()> indicators_{};
    std::unique_ptr<Descriptor> typed_;
};

/// An accessor of a table. Rows come in the order of its key unless setOrderBy says otherwise.
template <class Descriptor> class TableAccessor : public RowAccessor<Descriptor> {
  public:
    using RowAccessor<Descriptor>::RowAccessor;

    static const char* headerVersion() { return Descriptor::kRow.version; }
    static const char* keyColumn() { return Descriptor::kColumns[0].name; }
};

/// One input of a procedure: its typed value, and its place in the older mode's text.
template <class Input> struct ProcedureInput;
template <> struct ProcedureInput<int> {
    using Typed = OVDB_int;
    static constexpr const char* kConversion = "%d";
    static constexpr std::size_t textLength(int /*value*/) { return 11; }
};
template <> struct ProcedureInput<const char*> {
    using Typed = OVDB_string;
    static constexpr const char* kConversion = "'%s'";
    static std::size_t textLength(const char* value) { return 5 + (value == nullptr ? 0 : std::strlen(value)); }
};

/// An accessor of a stored procedure or cursor query, with one type per input: int or const char*.
///
///     SimGetOSType system(nullptr);
///     system.setValues(clientId);
///     if (system.openCursor() == 0 && system.fetchCursor(false) == 0)
///         use(system.getDataPtr()->o_simOSType);
template <class Descriptor, class... Inputs> class ProcedureAccessor : public RowAccessor<Descriptor> {
  public:
    explicit ProcedureAccessor(DBtran* transaction = nullptr) : RowAccessor<Descriptor>(transaction) {
        if constexpr (Descriptor::kRow.signature != nullptr)
            std::memcpy(signature_, Descriptor::kRow.signature, sizeof signature_);
    }

    /// Sets the inputs in parameter order. Texts are copied; a null text or one that is not whole UTF-8 makes the
    /// execution fail.
    void setValues(Inputs... inputs) {
        inputsBound_ = false;
        if (DBtable::b_newDBBase) {
            setCVDBValues(std::make_unique<typename ProcedureInput<Inputs>::Typed>(inputs).get()...);
        } else if (this->valuesClauseCheck((std::size_t{3} + ... + ProcedureInput<Inputs>::textLength(inputs)))) {
            this->CallDBsprintfWrapper(kFormat.data(), inputs...);
        }
    }

    /// Sets the inputs as typed values, which are copied.
    void setCVDBValues(const typename ProcedureInput<Inputs>::Typed*... inputs) {
        this->ClearBoundInputs();
        (this->BindInput(inputs), ...);
        inputsBound_ = true;
    }

    /// The procedure's 20 digits, empty where it has none.
    const char* signature() const { return signature_; }
    /// True once typed inputs were set.
    bool inputsBound() const { return inputsBound_; }

  private:
    static constexpr auto kFormat = [] {
        std::array<char, 5 * sizeof...(Inputs) + 1> text{};
        ovdb::TextWriter writer{text.data()};
        const char* between = "";
        ((writer.put(between), writer.put(ProcedureInput<Inputs>::kConversion), between = ","), ...);
        return text;
    }();

    char signature_[21] = "";
    bool inputsBound_ = false;
};

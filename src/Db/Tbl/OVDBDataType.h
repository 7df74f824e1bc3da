#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "PlatformExport.h"

/// Whether a caller changed a typed value since it was read.
enum UpdatedStatus : int { kNotUpdated = 0, kUpdated = 1 };

/// printf conversions of the integer kinds' text forms.
extern VSDKPLATFORM_API const char OVDB_int_format[];
extern VSDKPLATFORM_API const char OVDB___int64_format[];

/// One column of one row as an object: its value, whether it is SQL NULL, whether it was changed, and its text form.
///
/// Row descriptors own one per column; procedure accessors own one per typed input. An object belongs to one thread.
/// Nothing here fails but setData, which refuses bytes that do not fit the value.
class VSDKPLATFORM_API OVDBDataTypeBase {
  public:
    virtual ~OVDBDataTypeBase();

    /// Releases what the value holds when it becomes NULL. Integers hold nothing.
    virtual void clearMemoryOnNULL();
    /// Copies `length` raw bytes of `source` into the value's storage from byte `offset` on and clears `state`.
    /// False, and nothing changed, when the range does not lie in the value's storage. The last argument is not used.
    virtual bool setData(const char* source, int offset, int length, bool unused) = 0;
    /// Writes the value's text form into `text`.
    virtual void setString() const = 0;
    /// 1 a 32-bit integer, 4 a 64-bit integer, 6 a text.
    virtual int getDataType() const = 0;
    /// The printf conversion of the text form, null for texts.
    virtual const char* getFormatString() const = 0;

    /// The text form that setString() wrote last.
    std::string getStr() const { return text; }
    /// Sets or clears NULL. A change clears `state`; becoming NULL also empties a text.
    void setInternalNull(bool flag);
    void setUpdated(UpdatedStatus status) { updated = status; }

    bool null = true;
    UpdatedStatus updated = kNotUpdated;
    int position = 0;         ///< reserved for the database layer
    mutable std::string text; ///< text form of the value
    std::string reservedText; ///< reserved for the database layer
    int state = 0;            ///< cleared by every change
    int reservedWord = 0;     ///< reserved for the database layer

  protected:
    OVDBDataTypeBase() = default;
    OVDBDataTypeBase(const OVDBDataTypeBase&) = default;
    OVDBDataTypeBase& operator=(const OVDBDataTypeBase&) = default;
};

/// An integer column. `Format` is the printf conversion of its text form, `Code` its data type code.
template <class T, const char* Format, int Code> class OVDBPrimitiveType : public OVDBDataTypeBase {
  public:
    OVDBPrimitiveType() = default;
    explicit OVDBPrimitiveType(T initial) : value(initial) {
        null = false;
        updated = kUpdated;
    }

    bool setData(const char* source, int offset, int length, bool /*unused*/) override {
        if (offset < 0 || length < 0 || static_cast<std::size_t>(offset) + static_cast<std::size_t>(length) > sizeof(T))
            return false;
        std::memcpy(reinterpret_cast<char*>(&value) + offset, source, static_cast<std::size_t>(length));
        state = 0;
        return true;
    }
    void setString() const override {
        char buffer[100];
        std::snprintf(buffer, sizeof buffer, Format, value);
        text = buffer;
    }
    int getDataType() const override { return Code; }
    const char* getFormatString() const override { return Format; }

    T value = 0;
};

/// A column whose value is an object of its own.
template <class T, int Code> class OVDBCompositeType : public OVDBDataTypeBase {
  public:
    int getDataType() const override { return Code; }
    const char* getFormatString() const override { return nullptr; }

    T value{};

  protected:
    OVDBCompositeType() = default;
};

using OVDB_int = OVDBPrimitiveType<int, OVDB_int_format, 1>;
using OVDB___int64 = OVDBPrimitiveType<long long, OVDB___int64_format, 4>;

/// A text column, UTF-8.
class VSDKPLATFORM_API OVDB_string : public OVDBCompositeType<std::string, 6> {
  public:
    OVDB_string() = default;
    /// Holds a copy of `initial`, not null, updated; a null pointer leaves the value NULL.
    explicit OVDB_string(const char* initial);

    void clearMemoryOnNULL() override;
    /// As for the base; the text ends where the copied bytes end. A gap before `offset` is refused.
    bool setData(const char* source, int offset, int length, bool unused) override;
    void setString() const override;
};

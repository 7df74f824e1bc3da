#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "PlatformExport.h"
#include "message/MessageStatus.h"

struct MessageField;
struct MessageType; // MessageTypes.h

/// A message: values of the fields of its type, each set or not. The classes that derive from it only choose the type.
///
/// A value type, used by one thread at a time. A getter answers 0, empty or null for a field that is not set. A field
/// that the type has not, or of another kind, is an error of the program: setters answer false and set nothing, getters
/// answer as for one that is not set.
class VSDKPLATFORM_API CNMessageBase {
  public:
    explicit CNMessageBase(const MessageType& type);
    CNMessageBase(const CNMessageBase&);
    CNMessageBase(CNMessageBase&&) noexcept;
    CNMessageBase& operator=(const CNMessageBase&);
    CNMessageBase& operator=(CNMessageBase&&) noexcept;
    virtual ~CNMessageBase();

    const MessageType& type() const { return *type_; }
    /// The number of the message's type.
    int getTagID() const;
    /// Whether messages of the type with this tag are of the older kind. False for a tag that no type has.
    static bool isOldWay(int tag);

    bool hasInt(int field) const;
    std::int64_t getInt(int field) const;
    const std::string& getString(int field) const;
    const std::vector<std::int32_t>& getIntList(int field) const;
    /// Owned by this message.
    const CNMessageBase* getMessage(int field) const;
    const std::vector<CNMessageBase>& getMessages(int field) const;

    /// Of a field of 32 bits the value must be within them.
    bool setInt(int field, std::int64_t value);
    bool setString(int field, std::string value);
    bool setIntList(int field, std::vector<std::int32_t> values);
    /// Appends a child, which must be of the field's type; a field that has but one child gets this one.
    bool addMessage(int field, CNMessageBase child);

    /// The value, which is then not set any more.
    std::string takeString(int field);
    std::vector<CNMessageBase> takeMessages(int field);

  private:
    friend class XMLDecoder;
    friend class XMLEncoder;
    struct Value;

    /// The field of a number that can hold such values, and its value; null where the type has none.
    template <class Held> const MessageField* fieldOf(int number) const;
    template <class Held> const Held* find(int field) const;
    template <class Held> const Held& valueOf(int field) const;
    template <class Held> Held take(int field);
    template <class Held> bool set(int field, Held value);
    Value& valueAt(const MessageField& field);

    const MessageType* type_;
    std::vector<Value> values_; ///< one for each field of the type
};

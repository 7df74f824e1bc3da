#include "message/CNMessageBase.h"

#include <algorithm>
#include <type_traits>
#include <utility>

#include "message/MessageTypes.h"
#include "message/MessageValue.h"

namespace {

/// Whether a field of a kind holds values of a type.
template <class Held> constexpr bool holds(MessageFieldKind kind) {
    switch (kind) {
    case MessageFieldKind::kInt32:
    case MessageFieldKind::kInt64:
        return std::is_same_v<Held, std::int64_t>;
    case MessageFieldKind::kText:
        return std::is_same_v<Held, std::string>;
    case MessageFieldKind::kIntList:
        return std::is_same_v<Held, std::vector<std::int32_t>>;
    case MessageFieldKind::kMessage:
    case MessageFieldKind::kMessages:
        return std::is_same_v<Held, std::vector<CNMessageBase>>;
    }
    return false;
}

} // namespace

CNMessageBase::CNMessageBase(const MessageType& type) : type_(&type), values_(type.fields.size()) {}
CNMessageBase::CNMessageBase(const CNMessageBase&) = default;
CNMessageBase::CNMessageBase(CNMessageBase&&) noexcept = default;
CNMessageBase& CNMessageBase::operator=(const CNMessageBase&) = default;
CNMessageBase& CNMessageBase::operator=(CNMessageBase&&) noexcept = default;
CNMessageBase::~CNMessageBase() = default;

int CNMessageBase::getTagID() const {
    return type_->tag;
}

bool CNMessageBase::isOldWay(int tag) {
    const MessageType* const type = findMessageType(tag);
    return type != nullptr && type->oldWay;
}

template <class Held> const MessageField* CNMessageBase::fieldOf(int number) const {
    const auto found = std::ranges::find_if(type_->fields, [number](const MessageField& field) {
        return field.number == number && holds<Held>(field.kind);
    });
    return found == type_->fields.end() || values_.empty() ? nullptr : &*found; // empty: it was moved away
}

CNMessageBase::Value& CNMessageBase::valueAt(const MessageField& field) {
    return values_[static_cast<std::size_t>(&field - type_->fields.data())];
}

template <class Held> const Held* CNMessageBase::find(int field) const {
    const MessageField* const found = fieldOf<Held>(field);
    return found == nullptr ? nullptr : const_cast<CNMessageBase*>(this)->valueAt(*found).get<Held>();
}

template <class Held> const Held& CNMessageBase::valueOf(int field) const {
    static const Held kNone{};
    const Held* const held = find<Held>(field);
    return held == nullptr ? kNone : *held;
}

bool CNMessageBase::hasInt(int field) const {
    return find<std::int64_t>(field) != nullptr;
}

std::int64_t CNMessageBase::getInt(int field) const {
    return valueOf<std::int64_t>(field);
}

const std::string& CNMessageBase::getString(int field) const {
    return valueOf<std::string>(field);
}

const std::vector<std::int32_t>& CNMessageBase::getIntList(int field) const {
    return valueOf<std::vector<std::int32_t>>(field);
}

const CNMessageBase* CNMessageBase::getMessage(int field) const {
    const auto& messages = getMessages(field);
    return messages.empty() ? nullptr : &messages.front();
}

const std::vector<CNMessageBase>& CNMessageBase::getMessages(int field) const {
    return valueOf<std::vector<CNMessageBase>>(field);
}

template <class Held> bool CNMessageBase::set(int field, Held value) {
    const MessageField* const found = fieldOf<Held>(field);
    if (found != nullptr)
        valueAt(*found).held = std::move(value);
    return found != nullptr;
}

bool CNMessageBase::setInt(int field, std::int64_t value) {
    const MessageField* const found = fieldOf<std::int64_t>(field);
    return found != nullptr && (found->kind == MessageFieldKind::kInt64 || std::in_range<std::int32_t>(value)) &&
           set(field, value);
}

bool CNMessageBase::setString(int field, std::string value) {
    return set(field, std::move(value));
}

bool CNMessageBase::setIntList(int field, std::vector<std::int32_t> values) {
    return set(field, std::move(values));
}

bool CNMessageBase::addMessage(int field, CNMessageBase child) {
    const MessageField* const found = fieldOf<std::vector<CNMessageBase>>(field);
    if (found == nullptr || found->child != child.type_)
        return false;
    Value& value = valueAt(*found);
    if (!value.isSet())
        value.held.emplace<std::vector<CNMessageBase>>();
    auto& children = *value.get<std::vector<CNMessageBase>>();
    if (found->kind == MessageFieldKind::kMessage)
        children.clear();
    children.push_back(std::move(child));
    return true;
}

template <class Held> Held CNMessageBase::take(int field) {
    const MessageField* const found = fieldOf<Held>(field);
    if (found == nullptr || !valueAt(*found).isSet())
        return {};
    Held taken = std::move(*valueAt(*found).template get<Held>());
    valueAt(*found).held = std::monostate();
    return taken;
}

std::string CNMessageBase::takeString(int field) {
    return take<std::string>(field);
}

std::vector<CNMessageBase> CNMessageBase::takeMessages(int field) {
    return take<std::vector<CNMessageBase>>(field);
}

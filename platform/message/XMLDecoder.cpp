#include "message/XMLDecoder.h"

#include <cstring>
#include <optional>
#include <utility>

#include "message/MessageTypes.h"
#include "message/MessageValue.h"
#include "message/XmlReader.h"
#include "message/XmlText.h"

namespace {

/// A field of that name; looked for from `from` on, then from the start, since a writer keeps to the type's order.
const MessageField* findField(std::span<const MessageField> fields, std::size_t& from, const char* name) {
    for (std::size_t tries = 0; tries < fields.size(); ++tries) {
        const MessageField& field = fields[from];
        from = from + 1 == fields.size() ? 0 : from + 1;
        if (std::strcmp(field.name, name) == 0)
            return &field;
    }
    return nullptr;
}

bool readList(std::string_view text, std::vector<std::int32_t>& list) {
    while (!text.empty()) {
        const std::size_t blank = text.find(' ');
        if (!hubxml::readNumber(text.substr(0, blank), list.emplace_back()))
            return false;
        if (blank == std::string_view::npos)
            return true;
        text.remove_prefix(blank + 1);
        if (text.empty())
            return false; // a blank at the end
    }
    return true;
}

} // namespace

/// Fills messages from the elements that it hears of.
class XMLDecoder::Reader : public hubxml::ElementListener {
  public:
    /// With a null type the root element chooses.
    explicit Reader(const MessageType* type) : type_(type) {}

    int startElement(const char* name, hubxml::Attributes attributes) override {
        if (unknown_ > 0) {
            ++unknown_;
            return kMessageOk;
        }
        if (open_.empty()) {
            const MessageType* const type = findMessageType(name);
            if (type == nullptr || (type_ != nullptr && type != type_))
                return kMessageWrongType;
            open_.push_back(&root_.emplace(*type));
        } else {
            CNMessageBase& parent = *open_.back();
            std::size_t from = 0;
            const MessageField* const field = findField(parent.type().fields, from, name);
            if (field == nullptr || !field->isChild()) {
                unknown_ = 1;
                return kMessageOk;
            }
            auto& held = valueOf(parent, *field);
            if (!held.isSet())
                held.held.emplace<std::vector<CNMessageBase>>();
            auto& children = *held.get<std::vector<CNMessageBase>>();
            if (field->kind == MessageFieldKind::kMessage && !children.empty())
                return kMessageBadValue;
            open_.push_back(&children.emplace_back(*field->child)); // an earlier one is complete: it may move
        }
        return readAttributes(*open_.back(), attributes);
    }

    int endElement() override {
        if (unknown_ > 0) {
            --unknown_;
            return kMessageOk;
        }
        CNMessageBase& message = *open_.back();
        for (const MessageField& field : message.type().fields)
            if (field.required && !valueOf(message, field).isSet())
                return kMessageIncomplete;
        open_.pop_back();
        return kMessageOk;
    }

    std::optional<CNMessageBase>& root() { return root_; }

  private:
    static CNMessageBase::Value& valueOf(CNMessageBase& message, const MessageField& field) {
        return message.valueAt(field);
    }

    static int readAttributes(CNMessageBase& message, hubxml::Attributes attributes) {
        std::size_t from = 0;
        for (; !attributes.atEnd(); attributes.next()) {
            const MessageField* const field = findField(message.type().fields, from, attributes.name());
            if (field == nullptr || field->isChild())
                continue;
            if (const int status = readValue(*field, attributes.value(), valueOf(message, *field));
                status != kMessageOk)
                return status;
        }
        return kMessageOk;
    }

    static int readValue(const MessageField& field, std::string_view text, CNMessageBase::Value& value) {
        bool isRead = false;
        if (field.kind == MessageFieldKind::kText) {
            isRead = hubxml::readText(text, value.held.emplace<std::string>());
            if (isRead && value.get<std::string>()->size() > field.bytesMax)
                return kMessageTooLarge;
        } else if (field.kind == MessageFieldKind::kIntList) {
            isRead = readList(text, value.held.emplace<std::vector<std::int32_t>>());
        } else {
            auto& number = value.held.emplace<std::int64_t>();
            isRead = hubxml::readNumber(text, number) &&
                     (field.kind == MessageFieldKind::kInt64 || std::in_range<std::int32_t>(number));
        }
        return isRead ? kMessageOk : kMessageBadValue;
    }

    const MessageType* type_;
    std::optional<CNMessageBase> root_;
    std::vector<CNMessageBase*> open_; ///< the messages whose elements are open
    std::size_t unknown_ = 0;          ///< open elements within the outermost that the types do not know
};

std::unique_ptr<CNMessageBase> XMLDecoder::unSerialize(std::string_view text) {
    Reader reader(nullptr);
    if (hubxml::readDocument(text, reader) != kMessageOk)
        return nullptr;
    return std::make_unique<CNMessageBase>(std::move(*reader.root()));
}

int XMLDecoder::unSerialize(std::string_view text, CNMessageBase& message) {
    Reader reader(&message.type());
    const int status = hubxml::readDocument(text, reader);
    if (status == kMessageOk)
        message = std::move(*reader.root());
    return status;
}

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

bool isChild(const MessageField& field) {
    return field.kind == MessageFieldKind::kMessage || field.kind == MessageFieldKind::kMessages;
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
            if (field == nullptr || !isChild(*field)) {
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
        const CNMessageBase& message = *open_.back();
        for (const MessageField& field : message.type().fields)
            if (field.required && !valueOf(*open_.back(), field).isSet())
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
            if (field != nullptr && !isChild(*field) &&
                !readValue(*field, attributes.value(), valueOf(message, *field)))
                return kMessageBadValue;
        }
        return kMessageOk;
    }

    static bool readValue(const MessageField& field, std::string_view text, CNMessageBase::Value& value) {
        std::int32_t narrow = 0;
        switch (field.kind) {
        case MessageFieldKind::kInt32:
            if (!hubxml::readNumber(text, narrow))
                return false;
            value.held = std::int64_t{narrow};
            return true;
        case MessageFieldKind::kInt64:
            return hubxml::readNumber(text, value.held.emplace<std::int64_t>());
        case MessageFieldKind::kText:
            return hubxml::readText(text, value.held.emplace<std::string>());
        case MessageFieldKind::kIntList:
            return readList(text, value.held.emplace<std::vector<std::int32_t>>());
        case MessageFieldKind::kMessage:
        case MessageFieldKind::kMessages:
            break;
        }
        return false;
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

#include "message/XMLEncoder.h"

#include <array>
#include <charconv>

#include "message/MessageValue.h"
#include "message/XmlReader.h"
#include "message/XmlText.h"

namespace {

void appendNumber(std::string& text, std::int64_t number) {
    std::array<char, 20> digits{};
    text.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr);
}

} // namespace

/// One message being written.
class XMLEncoder::Writer {
  public:
    explicit Writer(std::string& text) : text_(text) {}

    int write(const CNMessageBase& message, const char* element) {
        (text_ += '<') += element;
        if (message.values_.size() != message.type().fields.size())
            return kMessageIncomplete; // it was moved away
        int status = kMessageOk;
        bool children = false;
        std::size_t index = 0;
        for (const MessageField& field : message.type().fields) {
            const auto& value = message.values_[index++];
            if (field.required && !value.isSet())
                return kMessageIncomplete;
            if (field.isChild())
                children = children || value.isSet();
            else if (value.isSet() && (status = writeAttribute(field.name, value)) != kMessageOk)
                return status;
        }
        if (!children) {
            text_ += "/>";
            return kMessageOk;
        }
        text_ += '>';
        index = 0;
        for (const MessageField& field : message.type().fields) {
            const auto* const messages = message.values_[index++].get<std::vector<CNMessageBase>>();
            if (messages == nullptr)
                continue;
            for (const CNMessageBase& child : *messages)
                if ((status = write(child, field.name)) != kMessageOk)
                    return status;
        }
        ((text_ += "</") += element) += '>';
        return kMessageOk;
    }

  private:
    int writeAttribute(const char* name, const CNMessageBase::Value& value) {
        ((text_ += ' ') += name) += "=\"";
        const std::size_t begin = text_.size();
        if (const auto* const number = value.get<std::int64_t>()) {
            appendNumber(text_, *number);
        } else if (const auto* const bytes = value.get<std::string>()) {
            hubxml::appendText(text_, *bytes);
        } else {
            const char* between = "";
            for (const std::int32_t one : *value.get<std::vector<std::int32_t>>()) {
                text_ += between;
                appendNumber(text_, one);
                between = " ";
            }
        }
        if (text_.size() - begin > hubxml::kAttributeBytesMax)
            return kMessageTooLarge;
        text_ += '"';
        return kMessageOk;
    }

    std::string& text_;
};

int XMLEncoder::serialize(const CNMessageBase* message, std::string& text, int /*options*/) {
    if (message == nullptr)
        return kMessageIncomplete;
    return Writer(text).write(*message, message->type().name);
}

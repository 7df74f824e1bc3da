#include "log/EvEvent.h"

#include <string_view>

#include "log/EvMessageCatalogue.h"
#include "log/Utf8Cut.h"

namespace {

/// `text` with its placeholders filled. What is inserted is not looked at again.
std::string filled(std::string_view text, const std::vector<std::string>& arguments, unsigned long number) {
    std::string result;
    while (!text.empty()) {
        const std::size_t percent = text.find('%');
        result += text.substr(0, percent);
        if (percent == std::string_view::npos) {
            break;
        }
        text.remove_prefix(percent);
        std::size_t length = 2;
        if (text.starts_with("%lu")) {
            result += std::to_string(number);
            length = 3;
        } else if (text.size() >= 2 && text[1] >= '1' && text[1] <= '9') {
            const auto place = static_cast<std::size_t>(text[1] - '1');
            if (place < arguments.size() && !arguments[place].empty()) {
                result += arguments[place];
            } else if (result.ends_with(' ')) {
                result.pop_back();
            }
        } else {
            result += '%';
            length = text.starts_with("%%") ? 2 : 1;
        }
        text.remove_prefix(length);
    }
    return result;
}

} // namespace

EvEvent::EvEvent() = default;
EvEvent::~EvEvent() = default;

EvEvent& EvEvent::operator<<(const char* argument) {
    arguments_.emplace_back(argument != nullptr ? argument : "");
    return *this;
}

void EvEvent::evPrintf(unsigned long id, char* buffer, unsigned long size, unsigned long arg) const {
    if (buffer == nullptr || size == 0) {
        return;
    }
    const std::string message = filled(EvMessageCatalogue::text(id), arguments_, arg);
    buffer[message.copy(buffer, evlog::utf8Cut(message, size - 1))] = '\0';
}

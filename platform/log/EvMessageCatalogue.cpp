#include "log/EvMessageCatalogue.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace {

struct Message {
    unsigned long id;
    const char* text;
};

/// In order of the identifiers.
constexpr std::array kEnglish{
    Message{0x23000008, "The user name or the password is not valid."},
    Message{0x230001C5, "The password has expired. Please set a new password and log in again."},
    Message{0x230001C6, "The number of login attempts was exceeded. Please try again later."},
    Message{0x23000453, "The login service of the Hubserver reported a failure (detail %lu)."},
    Message{0x23000829, "The login service of the Hubserver did not accept the request (detail %lu)."},
    Message{0x23000894, "The Hubserver refused access to this user."},
    Message{0x23000EA0, "The Hubserver could not verify this user. %1"},
    Message{0x23000F3D, "The version of this VSDK is not supported by the Hubserver."},
    Message{0x23000F3E, "Please answer the challenge of the RADIUS server in place of the password."},
    Message{0x2300124E, "The account is locked. Please contact the administrator."},
};
static_assert(std::ranges::adjacent_find(kEnglish, std::greater_equal{}, &Message::id) == kEnglish.end());

using Translation = std::map<unsigned long, std::string>;

constinit std::mutex gate;
constinit std::shared_ptr<const Translation> translation;

std::shared_ptr<const Translation> currentTranslation() {
    const std::lock_guard lock(gate);
    return translation;
}

} // namespace

void EvMessageCatalogue::setTranslation(std::map<unsigned long, std::string> texts) {
    auto next = std::make_shared<const Translation>(std::move(texts));
    const std::lock_guard lock(gate);
    translation.swap(next);
}

std::string EvMessageCatalogue::text(unsigned long id) {
    if (const auto translated = currentTranslation()) {
        if (const auto found = translated->find(id); found != translated->end()) {
            return found->second;
        }
    }
    const auto english = std::ranges::lower_bound(kEnglish, id, {}, &Message::id);
    if (english != kEnglish.end() && english->id == id) {
        return english->text;
    }
    std::array<char, 64> unknown{};
    std::snprintf(unknown.data(), unknown.size(), "Unknown message 0x%08lX.", id);
    return unknown.data();
}

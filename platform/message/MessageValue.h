#pragma once

#include <variant>

#include "message/CNMessageBase.h"
#include "message/MessageTypes.h"

/// What a field is set to; nothing: not set.
struct CNMessageBase::Value {
    std::variant<std::monostate, std::int64_t, std::string, std::vector<std::int32_t>, std::vector<CNMessageBase>> held;

    bool isSet() const { return held.index() != 0; }
    template <class Held> const Held* get() const { return std::get_if<Held>(&held); }
    template <class Held> Held* get() { return std::get_if<Held>(&held); }
};

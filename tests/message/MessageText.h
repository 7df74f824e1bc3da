#pragma once

#include <string>

#include "message/CNMessageBase.h"
#include "message/XMLDecoder.h"
#include "message/XMLEncoder.h"

inline constexpr const char* kMalformed = "[-2001]";
inline constexpr const char* kWrongType = "[-2002]";
inline constexpr const char* kIncomplete = "[-2003]";
inline constexpr const char* kBadValue = "[-2004]";
inline constexpr const char* kTooLarge = "[-2005]";

/// The message as XML; the status in brackets instead where it cannot be written.
inline std::string xmlOf(const CNMessageBase& message) {
    std::string text;
    const int status = XMLEncoder::serialize(&message, text, 0);
    return status == kMessageOk ? text : "[" + std::to_string(status) + "]";
}

/// What comes of reading into a message: its XML, or the status in brackets, when it must be as it was. Where the type
/// fits, reading without a receiver must come to the same.
inline std::string readBothWays(const std::string& text, CNMessageBase receiver) {
    const std::string before = xmlOf(receiver);
    const int status = XMLDecoder::unSerialize(text, receiver);
    const std::string after = xmlOf(receiver);
    const auto chosen = XMLDecoder::unSerialize(text);
    if (status == kMessageOk)
        return after + (chosen != nullptr && xmlOf(*chosen) == after ? "" : " but not without a receiver");
    if (chosen != nullptr && status != kMessageWrongType)
        return xmlOf(*chosen) + " but not for a receiver";
    return "[" + std::to_string(status) + "]" + (after == before ? "" : " but the receiver became " + after);
}

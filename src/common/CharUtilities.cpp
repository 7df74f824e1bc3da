#include "common/CharUtilities.h"

#include "common/VSDKErrors.h"

std::string toWideString(const std::string& text) {
    return text;
}

std::string toWideString(const char* text, int /*size*/) {
    return text != nullptr ? text : "";
}

std::string toNarrowString(const std::string& text) {
    return text;
}

std::string toNarrowString(const char* text, int /*size*/) {
    return text != nullptr ? text : "";
}

std::string dateToString(unsigned int time) {
    return UnixTimeToLocTimeString(time);
}

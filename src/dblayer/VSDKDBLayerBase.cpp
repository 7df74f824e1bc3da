#include "dblayer/VSDKDBLayerBase.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include <string_view>

namespace {

/// Kinds of agents whose content is structured alike, and how the separators they use are shown; empty for the others.
struct Group {
    std::span<const int> appTypeIds;
    std::string_view a{};
    std::string_view b{};
    std::string_view c{};
    bool endMarked = false;
    bool cutAtA = false;

    [[nodiscard]] constexpr std::string_view shown(char byte) const {
        switch (byte) {
        case specialchars::kSeparatorA:
            return a;
        case specialchars::kSeparatorB:
            return b;
        case specialchars::kSeparatorC:
            return c;
        default:
            return {};
        }
    }
};

constexpr std::array kCutAtA{6, 7, 51, 52, 59, 60, 77, 90};
constexpr std::array kWithB{46, 78, 89};
constexpr std::array kWithC{25, 40};
constexpr std::array kWithAll{65, 75, 76, 87};
constexpr std::array kWithA{8, 9, 14, 15, 35, 44, 45, 53, 54, 55, 56, 57, 67, 68, 82};

/// No agent is in two groups.
constexpr std::array kGroups{
    Group{.appTypeIds = kCutAtA, .a = "<-->", .cutAtA = true},
    Group{.appTypeIds = kWithB, .b = "/", .endMarked = true},
    Group{.appTypeIds = kWithC, .c = "-->"},
    Group{.appTypeIds = kWithAll, .a = ">", .b = "-->", .c = "|"},
    Group{.appTypeIds = kWithA, .a = "<-->"},
};

/// The agent's group, or one that changes nothing.
constexpr Group groupOf(int appTypeId) {
    const auto* const found = std::ranges::find_if(kGroups, [appTypeId](const Group& group) {
        return std::ranges::find(group.appTypeIds, appTypeId) != group.appTypeIds.end();
    });
    return found != kGroups.end() ? *found : Group{};
}

void cutBefore(std::string& text, char byte) {
    text.resize(std::min(text.find(byte), text.size()));
}

} // namespace

std::string VSDKDB_Base::ReplaceSpecialChars(std::string text, int appTypeId) {
    const Group group = groupOf(appTypeId);
    if (group.endMarked) {
        cutBefore(text, specialchars::kEndMarker);
    }
    // No mark holds a separator, so what is replaced need not be looked at again.
    std::string result;
    std::size_t done = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (const std::string_view mark = group.shown(text[at]); !mark.empty()) {
            result.append(text, done, at - done).append(mark);
            done = at + 1;
        }
    }
    if (done == 0) {
        return text;
    }
    result.append(text, done);
    return result;
}

std::string VSDKDB_Base::TruncateToSpecialChars(std::string text, int appTypeId) {
    if (groupOf(appTypeId).cutAtA) {
        cutBefore(text, specialchars::kSeparatorA);
    }
    return text;
}

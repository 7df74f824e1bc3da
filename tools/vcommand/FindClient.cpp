#include "vcommand/FindClient.h"

#include <optional>
#include <vector>

#include "Db/Tbl/APP_Client.h"
#include "vcommand/Command.h"

namespace {

/// Digits, with or without a sign.
bool looksLikeNumber(const std::string& text) {
    const std::size_t digits = !text.empty() && (text[0] == '+' || text[0] == '-') ? 1 : 0;
    return text.size() > digits && text.find_first_not_of("0123456789", digits) == std::string::npos;
}

std::string listed(const std::vector<int>& ids) {
    constexpr std::size_t kShown = 10;
    std::string text;
    for (std::size_t i = 0; i < ids.size() && i < kShown; ++i)
        text += (i == 0 ? "" : ", ") + std::to_string(ids[i]);
    return ids.size() <= kShown ? text : text + " and " + std::to_string(ids.size() - kShown) + " more";
}

} // namespace

ClientName findClient(const std::string& text) {
    const bool byId = looksLikeNumber(text);
    const std::optional<int> id = tools::parseId(text);
    if (byId && !id)
        throw tools::CommandError(tools::kExitUsage,
                                  "'" + text +
                                      "' is not a client id: write it without sign and leading zeros, within 32 bits",
                                  tools::kInvalidArgument);
    if (text.empty())
        throw tools::CommandError(tools::kExitUsage, "the client's name is empty", tools::kInvalidArgument);

    APP_Client clients(nullptr);
    clients.setIsolationType(4);
    if (byId)
        clients.setWhere("id=%d", *id);
    else
        clients.setWhere("name='%s'", dbText(text));
    std::vector<int> ids;
    std::string name;
    int state = 0;
    int read = 0;
    while ((read = getNextRow(&clients, &state, -1, 0)) == kDbOk) {
        ids.push_back(clients.getDataPtr()->id);
        name = clients.getDataPtr()->name;
    }
    if (read == kDbBadText)
        throw tools::CommandError(tools::kExitUsage, "the client's name is not valid UTF-8", tools::kInvalidArgument);
    if (read != kDbNoRow)
        throwDatabaseFailure(kClientFetchFailed);
    if (ids.empty())
        throw tools::CommandError(tools::kExitNotFound,
                                  byId ? "there is no client with the id " + text
                                       : "there is no client named '" + text + "'",
                                  tools::kInvalidArgument);
    if (ids.size() > 1)
        throw tools::CommandError(tools::kExitRefused,
                                  "several clients are named '" + text + "': use one of the ids " + listed(ids),
                                  tools::kInvalidArgument);
    return {ids.front(), name};
}

// Lists the agents of a client: consumer URL CLIENT

#include <charconv>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>

#include "db/HubDatabase.h"
#include "entities/VSDKAppTypeInfo.h"

namespace {

/// The whole text must be a number: a name is not client 0.
bool parseId(std::string_view text, int& id) {
    const char* const end = text.data() + text.size();
    const auto [at, failure] = std::from_chars(text.data(), end, id);
    return failure == std::errc() && at == end;
}

/// An empty list is an answer only when nothing failed, which the fetch itself does not tell.
bool listAgents(int clientId, std::string& error) {
    HubDatabase::clearLastFailure();
    VSDK_AppTypeList list(clientId);
    list.FetchAppTypes(true);
    if (HubDatabase::lastFailure(error) != 0)
        return false;
    for (const VSDK_AppType* agent : list.elements)
        std::cout << agent->appTypeId << ' ' << agent->status << ' ' << agent->name << '\n';
    return true;
}

} // namespace

int main(int argc, char** argv) {
    int clientId = 0;
    if (argc != 3 || !parseId(argv[2], clientId)) {
        std::cerr << "usage: consumer URL CLIENT, where CLIENT is the client's id\n";
        return EXIT_FAILURE;
    }
    std::string error;
    if (HubDatabase::connect(argv[1], error) != 0) {
        std::cerr << error << '\n';
        return EXIT_FAILURE;
    }
    const bool listed = listAgents(clientId, error);
    HubDatabase::disconnect();
    if (!listed) {
        std::cerr << error << '\n';
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

// Lists the agents of a client: consumer URL CLIENT

#include <cstdlib>
#include <iostream>
#include <string>

#include "db/HubDatabase.h"
#include "entities/VSDKAppTypeInfo.h"

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: consumer URL CLIENT\n";
        return EXIT_FAILURE;
    }
    std::string error;
    if (HubDatabase::connect(argv[1], error) != 0) {
        std::cerr << error << '\n';
        return EXIT_FAILURE;
    }
    VSDK_AppTypeList list(std::atoi(argv[2]));
    for (const VSDK_AppType* agent : list.FetchAppTypes(true).elements)
        std::cout << agent->appTypeId << ' ' << agent->status << ' ' << agent->name << '\n';
    HubDatabase::disconnect();
    return EXIT_SUCCESS;
}

#include "Estate.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <random>
#include <stdexcept>

#include "RawReader.h"

namespace {

void runHubdb(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), VSDK_HUBDB_PATH);
    std::vector<char*> pointers;
    for (auto& argument : arguments)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    pid_t child = 0;
    int status = -1;
    if (posix_spawn(&child, VSDK_HUBDB_PATH, nullptr, nullptr, pointers.data(), environ) != 0 ||
        waitpid(child, &status, 0) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        throw std::runtime_error("hubdb " + arguments[1] + " failed");
}

} // namespace

std::string generatedEstate(int clients) {
    const auto folder = std::filesystem::path(VSDK_BENCH_FOLDER) / ("estate-" + std::to_string(clients));
    if (!std::filesystem::exists(folder)) {
        // Under another name until it is whole: an interrupted run leaves nothing that looks finished.
        auto unfinished = folder;
        unfinished += ".unfinished";
        std::filesystem::remove_all(unfinished);
        std::filesystem::create_directories(unfinished);
        std::cout << "Generating an estate of " << clients << " clients in " << folder.string() << std::endl;
        const std::string url = "sqlite:" + (unfinished / "hub.db").string();
        runHubdb({"create", url});
        runHubdb({"generate", url, "--clients", std::to_string(clients), "--seed", "1"});
        std::filesystem::rename(unfinished, folder);
    }
    return (folder / "hub.db").string();
}

std::vector<int> clientIds(RawReader& reader) {
    std::vector<int> ids;
    if (!reader.readAll([&ids](const APP_Client_t& row) { ids.push_back(row.id); }) || ids.empty())
        throw std::runtime_error("the database has no clients");
    std::shuffle(ids.begin(), ids.end(), std::mt19937(1));
    return ids;
}

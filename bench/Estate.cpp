#include "Estate.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "schema/SchemaVersion.h"

namespace {

constexpr std::string_view kFilePrefix = "sqlite:";

} // namespace

bool isServer(const std::string& url) {
    return !url.starts_with(kFilePrefix);
}

std::string fileOf(const std::string& url) {
    return url.substr(kFilePrefix.size());
}

std::string withOption(const std::string& url, const std::string& option) {
    return url + (url.find('?') == std::string::npos ? '?' : '&') + option;
}

void runProgram(std::vector<std::string> command) {
    std::vector<char*> pointers;
    for (auto& argument : command)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    pid_t child = 0;
    int status = -1;
    if (posix_spawn(&child, pointers[0], nullptr, nullptr, pointers.data(), environ) != 0 ||
        waitpid(child, &status, 0) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        throw std::runtime_error(command[0] + " " + command[1] + " failed");
}

void generateEstate(const std::string& url, int clients) {
    std::cout << "Generating an estate of " << clients << " clients in " << url << std::endl;
    runProgram({VSDK_HUBDB_PATH, "create", url});
    runProgram({VSDK_HUBDB_PATH, "generate", url, "--clients", std::to_string(clients), "--seed", "1"});
}

std::string generatedFile(int clients, const std::string& kind,
                          const std::function<void(const std::string& url)>& addMore) {
    // Each version of the schema has its own files, too.
    const auto folder = std::filesystem::path(VSDK_BENCH_FOLDER) /
                        (kind + "-v" + std::to_string(hubdb::kSchemaVersion) + "-" + std::to_string(clients));
    const auto urlIn = [](const std::filesystem::path& place) { return "sqlite:" + (place / "hub.db").string(); };
    if (!std::filesystem::exists(folder)) {
        // Under another name until it is whole: an interrupted run leaves nothing that looks finished.
        auto unfinished = folder;
        unfinished += ".unfinished";
        std::filesystem::remove_all(unfinished);
        std::filesystem::create_directories(unfinished);
        generateEstate(urlIn(unfinished), clients);
        if (addMore)
            addMore(urlIn(unfinished));
        std::filesystem::rename(unfinished, folder);
    }
    return urlIn(folder);
}

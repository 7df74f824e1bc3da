#include "support/Process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <stdexcept>

#include "support/TempDirectory.h"

namespace support {

namespace {

std::string contents(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (auto& text : texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

} // namespace

ProcessResult runProcess(const std::vector<std::string>& command, const std::map<std::string, std::string>& environment,
                         int out, const std::string& in) {
    const TempDirectory directory;
    const std::string outFile = directory.file("out");
    const std::string errFile = directory.file("err");

    std::vector<std::string> variables;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string text = *variable;
        if (environment.count(text.substr(0, text.find('='))) == 0)
            variables.push_back(text);
    }
    for (const auto& [name, value] : environment)
        variables.push_back(name + "=" + value);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    constexpr int kWrite = O_WRONLY | O_CREAT;
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, in.c_str(), O_RDONLY, 0);
    if (out < 0)
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outFile.c_str(), kWrite, 0600);
    else
        posix_spawn_file_actions_adddup2(&actions, out, STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errFile.c_str(), kWrite, 0600);
    std::vector<std::string> arguments = command;
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
    pid_t child = 0;
    const int failure = posix_spawn(&child, command.at(0).c_str(), &actions, &attributes, pointers(arguments).data(),
                                    pointers(variables).data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    int status = 0;
    if (failure != 0 || waitpid(child, &status, 0) != child)
        throw std::runtime_error("cannot run " + command.at(0));
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), out < 0 ? contents(outFile) : "",
            contents(errFile)};
}

} // namespace support

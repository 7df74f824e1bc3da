#include "PrivateServer.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/file.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "Estate.h"

namespace {

constexpr auto kScript = VSDK_SOURCE_FOLDER "/scripts/postgres";
constexpr auto kNotes = VSDK_BENCH_FOLDER "/postgres";

void stopAndExit(int /*signal*/) {
    execl("/bin/sh", "sh", "-c", "\"$0\" stop \"$1\"; exit 1", kScript, kNotes, nullptr);
}

} // namespace

PrivateServer::PrivateServer() : lock_(open(VSDK_BENCH_FOLDER "/postgres.lock", O_CREAT | O_RDWR | O_CLOEXEC, 0600)) {
    if (flock(lock_, LOCK_EX | LOCK_NB) != 0)
        throw std::runtime_error("another run of this build has a server; the two would only disturb each other");
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(sched_getcpu(), &one);
    sched_setaffinity(0, sizeof one, &one); // where it is refused, the figures scatter
    // All of the estate in the server's memory, and nothing that cleans up behind the measurements.
    runProgram({kScript, "start", kNotes, "shared_buffers=512MB", "autovacuum=off"});
    if (!std::getline(std::ifstream(kNotes + std::string("/url")), url_))
        throw std::runtime_error("scripts/postgres has noted no server");
    for (const int ending : {SIGINT, SIGTERM, SIGHUP})
        std::signal(ending, stopAndExit);
}

PrivateServer::~PrivateServer() {
    try {
        runProgram({kScript, "stop", kNotes});
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << '\n';
    }
    close(lock_);
}

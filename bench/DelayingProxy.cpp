#include "DelayingProxy.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

namespace {

void closeBoth(int one, int other) {
    close(one);
    close(other);
}

int connectTo(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    const int made = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(made, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return made;
    close(made);
    return -1;
}

/// Not with recv() and send(), where the program counts.
bool passOn(int from, int to, std::vector<char>& buffer) {
    const ssize_t count = read(from, buffer.data(), buffer.size());
    for (ssize_t done = 0; done < count;) {
        const ssize_t written =
            sendto(to, buffer.data() + done, static_cast<std::size_t>(count - done), MSG_NOSIGNAL, nullptr, 0);
        if (written < 0)
            return false;
        done += written;
    }
    return count > 0;
}

} // namespace

DelayingProxy::DelayingProxy(const std::string& url, std::chrono::microseconds oneWay)
    : socketPath_(url.substr(url.find("host=") + 5) + "/.s.PGSQL.5432"), oneWay_(oneWay),
      listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener_, generic, size) != 0 || listen(listener_, SOMAXCONN) != 0 ||
        getsockname(listener_, generic, &size) != 0)
        throw std::runtime_error("the proxy cannot listen");
    const std::size_t at = url.find("@/");
    url_ = url.substr(0, at) + "@127.0.0.1:" + std::to_string(ntohs(address.sin_port)) +
           url.substr(at + 1, url.find('?') - at - 1);
    acceptor_ = std::thread([this] { acceptAll(); });
}

DelayingProxy::~DelayingProxy() {
    shutdown(listener_, SHUT_RDWR);
    acceptor_.join();
    for (auto& connection : connections_)
        connection.join();
    close(listener_);
}

void DelayingProxy::acceptAll() {
    for (int client = 0; (client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;)
        connections_.emplace_back([this, client] {
            const int server = connectTo(socketPath_);
            if (server >= 0)
                pass(client, server);
            closeBoth(client, server);
        });
}

void DelayingProxy::pass(int client, int server) const {
    prctl(PR_SET_TIMERSLACK, 1); // or the kernel would add to the delay
    const int now = 1;
    setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &now, sizeof now);
    std::vector<char> buffer(1U << 20U);
    for (;;) {
        pollfd both[] = {{client, POLLIN, 0}, {server, POLLIN, 0}};
        poll(both, 2, -1);
        std::this_thread::sleep_for(oneWay_);
        if ((both[0].revents != 0 && !passOn(client, server, buffer)) ||
            (both[1].revents != 0 && !passOn(server, client, buffer)))
            return;
    }
}

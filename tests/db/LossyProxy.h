#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "support/TempDirectory.h"

/// Stands between clients and a server's Unix socket, and loses one request or answer when a test asks for it: what a
/// network does at the worst moment.
class LossyProxy {
  public:
    enum class Loss {
        kRequest,    ///< it does not arrive
        kLastAnswer, ///< it was carried out; what was answered before that arrives
        kAnswers     ///< it was carried out; nothing that was answered since it was sent arrives
    };

    explicit LossyProxy(std::string serverDirectory) : serverDirectory_(std::move(serverDirectory)) {
        listener_ = socketAt(directory_.path(), &::bind);
        if (listener_ < 0 || listen(listener_, 16) != 0)
            throw std::runtime_error("the proxy cannot listen");
        acceptor_ = std::thread([this] { acceptAll(); });
    }
    ~LossyProxy() {
        shutdown(listener_, SHUT_RDWR);
        acceptor_.join();
        for (auto& connection : connections_)
            connection.join(); // their clients have gone
        close(listener_);
    }
    LossyProxy(const LossyProxy&) = delete;
    LossyProxy& operator=(const LossyProxy&) = delete;

    const std::string& directory() const { return directory_.path(); }

    /// Loses what goes with the next request that holds `text` and is answered by the command tag `tag`, and closes its
    /// connection.
    void lose(Loss loss, const std::string& text, const std::string& tag) {
        const std::lock_guard lock(mutex_);
        plan_ = {loss, text, tag, true};
    }

  private:
    struct Plan {
        Loss loss = Loss::kRequest;
        std::string text;
        std::string tag;
        bool armed = false;
    };

    template <class Join> static int socketAt(const std::string& directory, const Join& join) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const std::string path = directory + "/.s.PGSQL.5432";
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        const int made = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (join(made, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
            return made;
        close(made);
        return -1;
    }

    void acceptAll() {
        for (int client = 0; (client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;)
            connections_.emplace_back([this, client] {
                const int server = socketAt(serverDirectory_, &::connect);
                pump(client, server);
                close(client);
                close(server);
            });
    }

    bool planned(const std::string& request, Plan& plan) {
        const std::lock_guard lock(mutex_);
        if (!plan_.armed || request.find(plan_.text) == std::string::npos)
            return false;
        plan = plan_;
        plan_.armed = false;
        return true;
    }

    static bool take(int from, std::string& bytes) {
        std::array<char, 65536> buffer;
        const auto count = read(from, buffer.data(), buffer.size());
        bytes.assign(buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
        return count > 0;
    }
    static bool give(int to, const std::string& bytes) {
        return send(to, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
    }

    void pump(int client, int server) {
        std::string bytes;
        Plan plan;
        for (;;) {
            pollfd both[] = {{client, POLLIN, 0}, {server, POLLIN, 0}};
            poll(both, 2, -1);
            if (both[0].revents != 0) {
                if (!take(client, bytes))
                    return;
                const bool now = planned(bytes, plan);
                if (now && plan.loss == Loss::kRequest)
                    return;
                if (!give(server, bytes))
                    return;
                if (now)
                    return answer(client, server, plan);
            }
            if (both[1].revents != 0 && (!take(server, bytes) || !give(client, bytes)))
                return;
        }
    }

    /// Passes on what comes before the message that the command is complete, or not even that.
    static void answer(int client, int server, const Plan& plan) {
        std::string stream;
        std::string bytes;
        for (;;) {
            constexpr std::size_t kHead = 5;
            std::uint32_t length = 0;
            if (stream.size() >= kHead)
                std::memcpy(&length, stream.data() + 1, sizeof length);
            length = __builtin_bswap32(length);
            if (stream.size() < kHead || stream.size() < length + 1) {
                pollfd both[] = {{client, POLLIN, 0}, {server, POLLIN, 0}};
                poll(both, 2, -1);
                if (both[0].revents != 0 && (!take(client, bytes) || !give(server, bytes))) // the rest of the request
                    return;
                if (both[1].revents != 0 && !take(server, bytes))
                    return;
                stream += both[1].revents != 0 ? bytes : "";
                continue;
            }
            const std::string message = stream.substr(0, length + 1);
            stream.erase(0, length + 1);
            if (message[0] == 'C' && message.compare(kHead, plan.tag.size(), plan.tag) == 0)
                return;
            if (plan.loss == Loss::kLastAnswer)
                give(client, message);
        }
    }

    std::string serverDirectory_;
    support::TempDirectory directory_;
    int listener_ = -1;
    std::thread acceptor_;
    std::vector<std::thread> connections_;
    std::mutex mutex_;
    Plan plan_;
};

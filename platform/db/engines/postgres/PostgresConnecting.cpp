#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <ctime>

#include "db/engines/postgres/PostgresConnection.h"
#include "db/engines/postgres/PostgresHosts.h"
#include "db/engines/postgres/PostgresWire.h"
#include "log/EvDebug.h"
#include "log/EvLogSink.h"

namespace hubdb {

namespace {

using Clock = PostgresClock;

/// The server's five-character code in a failure to connect, which has no fields: "FATAL:  28P01: ...".
std::string connectSqlState(std::string_view words) {
    for (std::size_t at = words.find(":  "); at != std::string_view::npos; at = words.find(":  ", at + 1)) {
        const std::string_view code = words.substr(at + 3, 5);
        if (code.size() == 5 && words.substr(at + 8, 1) == ":" &&
            code.find_first_not_of("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ") == std::string_view::npos)
            return std::string(code);
    }
    return "";
}

/// A failure to connect as the server and libpq tell it, without the code and the place in the server's source.
std::string connectWords(std::string_view words, const std::string& sqlState) {
    std::string text(words.substr(0, words.find("\nLOCATION:")));
    if (const auto code = text.find(sqlState + ": "); !sqlState.empty() && code != std::string::npos)
        text.erase(code, sqlState.size() + 2);
    return oneLine(text);
}

/// A name that is looked up in the background, as libpq's own look-up would wait as long as the resolver likes.
struct LookUp {
    std::string name;
    addrinfo hints{};
    gaicb request{};

    explicit LookUp(std::string hostName) : name(std::move(hostName)) {
        hints.ai_socktype = SOCK_STREAM;
        request.ar_name = name.c_str();
        request.ar_request = &hints;
    }
    ~LookUp() {
        if (request.ar_result != nullptr)
            freeaddrinfo(request.ar_result);
    }
    LookUp(const LookUp&) = delete;
    LookUp& operator=(const LookUp&) = delete;
};

/// The addresses of a host; none, and `words` tells why, empty when the time was up. A host that is the directory of a
/// socket, or whose address the URL gives, has the one that libpq knows by itself.
std::vector<std::string> addressesOf(const PostgresHost& host, Clock::time_point deadline, std::string& words) {
    if (host.name.empty() || host.name[0] == '/' || host.name[0] == '@' || !host.address.empty())
        return {host.address};
    auto lookUp = std::make_unique<LookUp>(host.name);
#ifdef __SANITIZE_THREAD__ // which does not know the threads that the C library looks names up in
    const int failure = getaddrinfo(lookUp->name.c_str(), nullptr, &lookUp->hints, &lookUp->request.ar_result);
    (void)deadline;
#else
    std::array<gaicb*, 1> list{&lookUp->request};
    const gaicb* const pending = &lookUp->request;
    int failure = getaddrinfo_a(GAI_NOWAIT, list.data(), 1, nullptr);
    while (failure == 0 && (failure = gai_error(&lookUp->request)) == EAI_INPROGRESS) {
        const auto left = std::chrono::duration_cast<std::chrono::nanoseconds>(deadline - Clock::now()).count();
        const timespec wait{left / 1'000'000'000, left % 1'000'000'000};
        if (left > 0 && (failure = gai_suspend(&pending, 1, &wait)) != EAI_AGAIN) {
            failure = 0; // done, or a signal
            continue;
        }
        if (gai_cancel(&lookUp->request) == EAI_NOTCANCELED)
            (void)lookUp.release(); // the look-up still writes into it
        return {};
    }
#endif
    if (failure != 0) {
        words = "the host's name " + host.name + " cannot be looked up: " + gai_strerror(failure);
        return {};
    }
    std::vector<std::string> addresses;
    for (const auto* one = lookUp->request.ar_result; one != nullptr; one = one->ai_next) {
        std::array<char, NI_MAXHOST> text{};
        if (getnameinfo(one->ai_addr, one->ai_addrlen, text.data(), text.size(), nullptr, 0, NI_NUMERICHOST) == 0)
            addresses.emplace_back(text.data());
    }
    return addresses;
}

} // namespace

std::unique_ptr<PostgresConnection> PostgresConnection::open(const DatabaseUrl& url, LastHost& lastHost,
                                                             RoundTrips* roundTrips, EngineError& error) {
    const auto hosts = postgresHosts(url);
    std::string attributes = engineOption(url, "target_session_attrs");
    if (attributes.empty()) // after a failover the hosts may still all answer, and one of them takes writes
        attributes = hosts.size() > 1 ? "read-write" : "any";
    std::vector<std::string> passes{attributes};
    if (attributes == "prefer-standby")
        passes = {"standby", "any"};

    const auto deadline = Clock::now() + url.connectLimit;
    // One that does not answer leaves the others their share of the time.
    const auto share = [](Clock::time_point end, std::size_t parts) {
        const auto now = Clock::now();
        return now + (end - now) / static_cast<int>(parts);
    };
    error = {};
    std::string words;
    std::size_t hostsLeft = passes.size() * hosts.size();
    for (const auto& wanted : passes) {
        // The host that was found last comes first: an old primary that comes back is not gone back to.
        const std::size_t first = lastHost.load();
        for (std::size_t i = 0; i < hosts.size(); ++i) {
            const std::size_t index = (first + i) % hosts.size();
            PostgresHost host = hosts[index];
            const auto hostDeadline = share(deadline, hostsLeft--);
            EngineError failure{kDbConnectionLost, 0, "", false};
            const auto addresses = addressesOf(host, hostDeadline, failure.words);
            if (addresses.empty() && failure.words.empty())
                failure.status = kDbTimedOut;
            std::size_t addressesLeft = addresses.size();
            for (const auto& address : addresses) {
                host.address = address;
                std::unique_ptr<PostgresConnection> connection(new PostgresConnection(url, lastHost, roundTrips));
                connection->conninfo_ = postgresConninfo(url, host, wanted);
                failure = {};
                if (connection->connect(share(hostDeadline, addressesLeft--), failure) &&
                    connection->makeReady(failure)) {
                    lastHost = index;
                    return connection;
                }
                if (connection->sawServer_)
                    break; // its other addresses are the same server's
            }
            if (failure.status == kDbTimedOut)
                failure.words = "no answer within the limit of " + std::to_string(url.connectLimit.count()) + " ms" +
                                (hosts.size() > 1 ? " for all hosts" : "");
            if (failure.words.find(host.words()) == std::string::npos)
                failure.words.insert(0, host.words() + ": ");
            words += (words.empty() ? "" : "; ") + failure.words;
            if (error.status == kDbOk || error.status == kDbConnectionLost)
                error = failure;
        }
    }
    error.words = url.name + ": " + words;
    return nullptr;
}

bool PostgresConnection::connect(Clock::time_point deadline, EngineError& error) {
    mustEndBy_ = deadline;
    connection_.reset(PQconnectStart(conninfo_.c_str()));
    PGconn* const connection = connection_.get();
    if (connection == nullptr) {
        error = {kDbFailed, 0, "out of memory"};
        return false;
    }
    PQsetErrorVerbosity(connection, PQERRORS_VERBOSE); // with the server's code
    PQsetNoticeReceiver(
        connection,
        [](void* said, const PGresult* notice) {
            // What ends a connection while nothing is under way comes as a notice, before the end itself.
            const std::string severity(fieldOf(notice, PG_DIAG_SEVERITY_NONLOCALIZED));
            *static_cast<bool*>(said) |= severity == "FATAL" || severity == "PANIC";
            EvDebug::DebugLvl("PostgresConnection", kEvLogDetail, "%s",
                              std::string(fieldOf(notice, PG_DIAG_MESSAGE_PRIMARY)).c_str());
        },
        &saidFarewell_);
    auto state = PQstatus(connection) == CONNECTION_BAD ? PGRES_POLLING_FAILED : PGRES_POLLING_WRITING;
    while (state != PGRES_POLLING_OK && state != PGRES_POLLING_FAILED) {
        if (!pollUntil(PQsocket(connection), state == PGRES_POLLING_READING ? POLLIN : POLLOUT, deadline)) {
            error.status = kDbTimedOut;
            return false;
        }
        state = PQconnectPoll(connection);
    }
    if (state == PGRES_POLLING_FAILED) {
        const std::string words = PQerrorMessage(connection);
        const std::string sqlState = connectSqlState(words);
        int status = sqlState.empty() ? kDbConnectionLost : postgresStatus(sqlState, "");
        if (PQconnectionNeedsPassword(connection) == 1)
            status = kDbFailed; // one was asked for, and none is there
        sawServer_ = !sqlState.empty();
        error = {status, 0, connectWords(words, sqlState)};
        if (words.find("definition of service") != std::string::npos)
            error.words += " (named by the environment's PGSERVICE)";
        return false;
    }
    sawServer_ = true;
    PQsetErrorVerbosity(connection, PQERRORS_DEFAULT);
    PQsetnonblocking(connection, 1);
    watch_.begin(PQsocket(connection));
    return true;
}

bool PostgresConnection::makeReady(EngineError& error) {
    PGconn* const connection = connection_.get();
    keepsStatements_ = engineOption(url_, "prepared") != "off";
    const auto is = [connection](const char* parameter, std::string_view value) {
        const char* const now = PQparameterStatus(connection, parameter);
        return now == nullptr || now == value; // a server of another make may not say
    };
    if (!is("server_encoding", "UTF8")) {
        error = {kDbNotADatabase, 0, "the database's encoding must be UTF8"};
        return false;
    }
    if (!is("standard_conforming_strings", "on") && !keepsStatements_) {
        error = {kDbFailed, 0, "the server's standard_conforming_strings must be on"};
        return false;
    }
    int status = kDbOk;
    if (keepsStatements_) { // else a setting would stay with the proxy's connection, which somebody else is given next
        constexpr int kNoticesLostClients = 140000;
        constexpr int kChoosesPlans = 120000;
        constexpr int kCompilesStatements = 110000;
        const int version = PQserverVersion(connection);
        const std::string settings =
            "SET statement_timeout = " + std::to_string(url_.statementLimit.count()) +
            "; SET lock_timeout = " + std::to_string(url_.lockLimit.count()) +
            "; SET default_transaction_isolation = 'read committed'"
            "; SET standard_conforming_strings = on" +
            // Statements look up keys: planning anew for each set of ids would cost more than to run it.
            (version >= kChoosesPlans ? "; SET plan_cache_mode = force_generic_plan" : "") +
            // Compiling the list of running jobs costs more than it saves, however many they are.
            (version >= kCompilesStatements ? "; SET jit = off" : "") +
            // Lists are read to their end: a plan for the first rows of a cursor would be the wrong one.
            "; SET cursor_tuple_fraction = 1" +
            (version >= kNoticesLostClients ? "; SET client_connection_check_interval = 1000" : "");
        status = runOnce(settings, StatementUse::kOneRow);
        error = error_;
    }
    mustEndBy_ = Clock::time_point::max();
    return status == kDbOk;
}

bool PostgresConnection::cancel() {
    if (!keepsStatements_ || lost_ || mustEndBy_ != Clock::time_point::max())
        return false;
    // libpq's own request for it would wait without a limit.
    PostgresConnection other(url_, lastHost_, nullptr);
    other.conninfo_ = conninfo_;
    EngineError ignored;
    return other.connect(Clock::now() + kGrace, ignored) &&
           other.runOnce("SELECT pg_cancel_backend(" + std::to_string(PQbackendPID(connection_.get())) + ")",
                         StatementUse::kOneRow) == kDbOk;
}

} // namespace hubdb

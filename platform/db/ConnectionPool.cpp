#include "db/ConnectionPool.h"

#include <pthread.h>

#include <algorithm>

namespace hubdb {

namespace {

/// The process's database. The generation moves with every change, so that a thread can keep its own pointer and look
/// here only when it is stale.
struct Process {
    std::mutex mutex;
    std::shared_ptr<Database> database;
    std::mutex aliveMutex;
    std::vector<Database*> alive; ///< also those that were replaced and are still in use
    Database::Factory reopen;
    bool forked = false;             ///< `database` is to be made anew by `reopen`
    std::atomic<bool> barred{false}; ///< this process is a child that must not connect
    std::atomic<std::uint64_t> generation{1};
    std::atomic<unsigned> forks{0};
};

Process& process() {
    // Never destroyed: threads may still use the database while static objects go.
    static auto* instance = new Process;
    return *instance;
}

struct ThreadState {
    std::uint64_t generation = 0;
    std::shared_ptr<Database> database;
    LastFailure failure;
};

ThreadState& threadState() {
    thread_local ThreadState state;
    return state;
}

/// In a forked child every connection and lock belongs to the parent: forget them without touching them.
void watchForks() {
    static const int registered = pthread_atfork(
        [] {
            process().mutex.lock();
            process().aliveMutex.lock();
        },
        [] {
            process().aliveMutex.unlock();
            process().mutex.unlock();
        },
        [] {
            Process& self = process();
            ++self.forks;
            ++self.generation;
            self.barred = self.barred || !Database::forkedChildMayConnect();
            self.forked = self.forked || self.database != nullptr;
            new std::shared_ptr<Database>(std::move(self.database)); // for ever: its end would touch the parent's files
            self.aliveMutex.unlock();
            self.mutex.unlock();
        });
    (void)registered;
}

} // namespace

LastFailure& lastFailure() {
    return threadState().failure;
}

CachedStatement* Session::find(const StatementKey& key) {
    const auto [first, last] = statements_.equal_range(key);
    for (auto at = first; at != last; ++at) {
        CachedStatement& entry = *at->second;
        if (entry.inUse)
            continue; // by a read that is under way: its rows must not be disturbed
        entry.inUse = true;
        entry.lastUse = ++uses_;
        return &entry;
    }
    return nullptr;
}

CachedStatement* Session::add(const StatementKey& key, std::array<std::shared_ptr<const Form>, 3> forms,
                              const std::string& sql, StatementUse use) {
    if (statements_.size() >= kStatementsMax) {
        auto oldest = statements_.end();
        for (auto at = statements_.begin(); at != statements_.end(); ++at)
            if (!at->second->inUse && (oldest == statements_.end() || at->second->lastUse < oldest->second->lastUse))
                oldest = at;
        if (oldest != statements_.end())
            statements_.erase(oldest);
    }
    auto statement = connection_->prepare(sql, use);
    if (statement == nullptr)
        return nullptr;
    auto entry = std::make_unique<CachedStatement>();
    entry->statement = std::move(statement);
    entry->forms = std::move(forms);
    entry->inUse = true;
    entry->lastUse = ++uses_;
    return statements_.emplace(key, std::move(entry))->second.get();
}

Lease& Lease::operator=(Lease&& other) noexcept {
    release();
    database_ = std::move(other.database_);
    slot_ = other.slot_;
    return *this;
}

Session& Lease::session() const {
    return *database_->slots_[slot_].session;
}

Counters& Lease::counters() const {
    return database_->slots_[slot_].counters;
}

bool Lease::usable() const {
    return database_ != nullptr && database_->forkGeneration_ == process().forks.load(std::memory_order_relaxed);
}

void Lease::release() noexcept {
    if (database_ == nullptr)
        return;
    const auto database = std::move(database_);
    if (database->forkGeneration_ == process().forks.load(std::memory_order_relaxed))
        database->giveBack(slot_);
}

Database::Database(std::unique_ptr<Engine> engine, std::size_t poolSize, std::chrono::milliseconds poolLimit,
                   std::string keyPath)
    : engine_(std::move(engine)), poolLimit_(poolLimit), keyPath_(std::move(keyPath)), slots_(poolSize),
      forkGeneration_(process().forks) {
    const std::lock_guard lock(process().aliveMutex);
    process().alive.push_back(this);
}

Database::~Database() {
    if (forkGeneration_ == process().forks.load(std::memory_order_relaxed)) {
        const std::lock_guard lock(process().aliveMutex);
        std::erase(process().alive, this);
        return;
    }
    // The parent's connections: closing them here would roll back, on its files, what the parent has under way.
    for (auto& slot : slots_)
        (void)slot.session.release();
    (void)engine_.release();
}

bool Database::forkedChildMayConnect() {
    auto& alive = process().alive;
    const bool may = std::all_of(alive.begin(), alive.end(), [](const Database* database) {
        const auto& slots = database->slots_;
        const bool idle = std::none_of(slots.begin(), slots.end(), [](const Slot& slot) { return slot.busy.load(); });
        return database->engine_->forkedChildMayConnect(idle);
    });
    alive.clear(); // they are the parent's
    return may;
}

bool Database::mayConnect(EngineError& error) {
    if (!process().barred)
        return true;
    error = {kDbNotConnected, 0,
             "this process was forked while its parent used the database, and cannot use it safely"};
    return false;
}

std::shared_ptr<Database> Database::current(EngineError& error) {
    ThreadState& state = threadState();
    Process& self = process();
    if (!mayConnect(error))
        return nullptr;
    if (state.generation != self.generation.load(std::memory_order_acquire)) {
        const std::lock_guard lock(self.mutex);
        if (self.forked)
            self.database = self.reopen();
        self.forked = false;
        state.generation = self.generation;
        state.database = self.database;
    }
    if (state.database == nullptr)
        error = {kDbNotConnected, 0, dbStatusText(kDbNotConnected)};
    return state.database;
}

void Database::install(std::shared_ptr<Database> database, Factory reopen) {
    watchForks();
    Process& self = process();
    {
        const std::lock_guard lock(self.mutex);
        self.database.swap(database);
        self.reopen = std::move(reopen);
        self.forked = false;
        ++self.generation;
    }
    if (database != nullptr)
        database->close();
}

Lease Database::lease(std::size_t preferred, EngineError& error, bool fresh) {
    std::size_t index = 0;
    if (!(waiting_ == 0 && take(preferred, index)) && !waitForSlot(preferred, index)) {
        error = {kDbTimedOut, 0,
                 "no connection of the pool became free within " + std::to_string(poolLimit_.count()) + " ms"};
        return {};
    }
    Lease lease(shared_from_this(), index);
    Slot& slot = slots_[index];
    if (fresh)
        slot.session.reset();
    if (slot.session == nullptr) {
        auto connection = engine_->open(error, &slot.counters.roundTrips);
        if (connection == nullptr)
            return {};
        Counters::add(slot.counters.opened);
        slot.session = std::make_unique<Session>(std::move(connection));
    }
    return lease;
}

bool Database::take(std::size_t preferred, std::size_t& slot) {
    const std::size_t count = slots_.size();
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t at = (preferred + i) % count;
        bool idle = false;
        if (!slots_[at].busy.load() && slots_[at].busy.compare_exchange_strong(idle, true)) {
            slot = at;
            return true;
        }
    }
    return false;
}

bool Database::waitForSlot(std::size_t preferred, std::size_t& slot) {
    const auto deadline = std::chrono::steady_clock::now() + poolLimit_;
    std::unique_lock lock(mutex_);
    const bool first = ++waiting_ == 1;
    bool taken = first && take(preferred, slot); // behind others, wait for a turn
    while (!taken) {
        const bool passed = slotFreed_.wait_until(lock, deadline) == std::cv_status::timeout;
        taken = take(preferred, slot);
        if (passed)
            break;
    }
    if (--waiting_ > 0)
        slotFreed_.notify_one(); // another slot may have become free meanwhile
    return taken;
}

void Database::giveBack(std::size_t index) noexcept {
    Slot& slot = slots_[index];
    if (slot.session != nullptr && !slot.session->condemned() && slot.session->connection().inTransaction())
        slot.session->condemn();
    if (closed_ || (slot.session != nullptr && slot.session->condemned()))
        slot.session.reset();
    slot.busy.store(false);
    if (waiting_.load() > 0) {
        const std::lock_guard lock(mutex_);
        slotFreed_.notify_one();
    } else if (closed_) {
        close();
    }
}

void Database::close() noexcept {
    closed_ = true;
    for (auto& slot : slots_) {
        bool idle = false;
        if (slot.busy.compare_exchange_strong(idle, true)) {
            slot.session.reset();
            slot.busy.store(false);
        }
    }
}

HubDatabaseStatistics Database::statistics() const {
    HubDatabaseStatistics sum{};
    for (const auto& slot : slots_) {
        sum.statementsExecuted += slot.counters.executed;
        sum.statementsPrepared += slot.counters.prepared;
        sum.rowsRead += slot.counters.rows;
        sum.connectionsOpened += slot.counters.opened;
        sum.roundTrips += slot.counters.roundTrips;
    }
    return sum;
}

struct ThreadSession::Current {
    std::shared_ptr<Database> database; ///< the one that `shared` has its lease from
    std::unique_ptr<Shared> shared = std::make_unique<Shared>();
    std::size_t slot = 0; ///< the one this thread had last: its statements are prepared there
};

ThreadSession::Current& ThreadSession::current() {
    thread_local Current instance;
    return instance;
}

bool ThreadSession::enter(EngineError& error, bool fresh) {
    if (shared_ != nullptr)
        return true;
    Current& here = current();
    auto database = Database::current(error);
    if (database == nullptr)
        return false;
    if (here.shared->users > 0 &&
        (database != here.database || !here.shared->lease.usable() || here.shared->lease.session().condemned())) {
        // Reads that are under way keep the connection that they have; the last of them frees it.
        here.shared.release()->left = true;
        here.shared = std::make_unique<Shared>();
    }
    if (here.shared->users == 0) {
        here.shared->lease = database->lease(here.slot, error, fresh);
        if (!here.shared->lease)
            return false;
        here.slot = here.shared->lease.slot();
        here.database = std::move(database);
    }
    shared_ = here.shared.get();
    ++shared_->users;
    return true;
}

void ThreadSession::leave() noexcept {
    if (shared_ == nullptr)
        return;
    if (--shared_->users == 0) {
        shared_->lease.release();
        if (shared_->left)
            delete shared_;
    }
    shared_ = nullptr;
}

} // namespace hubdb

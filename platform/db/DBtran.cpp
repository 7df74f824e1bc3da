#include "db/DBtran.h"

#include <algorithm>
#include <mutex>

#include "db/DBtable.h"
#include "db/FaultSeam.h"
#include "db/ReadScope.h"

using hubdb::FaultPoint;
using hubdb::injectedFault;

DBtran::DBtran(bool readOnly) : readOnly_(readOnly) {}

DBtran::~DBtran() {
    if (isOpen())
        rollbackTran();
    const std::lock_guard lock(DBtable::DBCriticalSection);
    for (auto* accessor : objects_)
        accessor->loseTransaction();
}

int DBtran::startTran() {
    if (isOpen())
        return fail(kDbTransactionFailed, "the transaction is open already");
    hubdb::EngineError error;
    const auto database = hubdb::Database::current(error);
    if (database == nullptr)
        return fail(error.status, error.words);
    thread_local std::size_t slot = 0; // the one that this thread's last transaction had: its statements are there
    const auto kind = readOnly_ ? hubdb::TransactionKind::kRead : hubdb::TransactionKind::kWrite;
    // What its list holds a thread gives up before it waits for one more connection: others may do the same.
    DBtable::detachThreadReads();
    for (bool again = false;; again = true) {
        lease_ = database->lease(slot, error, again);
        if (!lease_)
            return fail(error.status, error.words);
        slot = lease_.slot();
        int status = injectedFault(FaultPoint::kBegin, "");
        if (status == kDbOk)
            status = lease_.session().connection().begin(kind);
        if (status == kDbOk) {
            failed_ = false;
            return kDbOk;
        }
        failWithEngine(status);
        if (status == kDbConnectionLost)
            lease_.session().condemn();
        lease_.release();
        if (status != kDbConnectionLost || again)
            return status;
    }
}

int DBtran::commitTran(bool restart) {
    hubdb::EngineError error;
    if (usable(error) == nullptr) {
        if (isOpen())
            rollbackTran();
        return fail(error.status, error.words);
    }
    endReads();
    DBtable::detachThreadReads();
    auto& session = lease_.session();
    int status = injectedFault(FaultPoint::kBeforeCommit, "");
    if (status == kDbOk) {
        status = session.connection().commit();
        const int after = injectedFault(FaultPoint::kAfterCommit, "");
        if (status == kDbOk && after != kDbOk)
            status = kDbUnknownOutcome;
    }
    if (status != kDbOk) {
        failWithEngine(status);
        if (session.connection().inTransaction() && session.connection().rollback() != kDbOk)
            session.condemn();
        if (status == kDbConnectionLost || status == kDbUnknownOutcome)
            session.condemn();
        close();
        return status;
    }
    close();
    return restart ? startTran() : kDbOk;
}

int DBtran::rollbackTran() {
    if (!isOpen())
        return fail(kDbTransactionFailed, "no transaction is open");
    endReads();
    if (lease_.usable() && lease_.session().connection().rollback() != kDbOk)
        lease_.session().condemn(); // closing the connection rolls back what is left
    close();
    return kDbOk;
}

int DBtran::refuse(int status, const std::string& words) {
    statementFailed(words);
    return fail(status, words);
}

void DBtran::statementFailed(const std::string& words) {
    if (!failed_)
        failedWords_ = words;
    failed_ = true;
}

bool DBtran::once(const OVDBRowDeclaration& table, std::int64_t id) {
    return named_.emplace(&table, id).second;
}

void DBtran::addObject(DBtable* accessor) {
    objects_.push_back(accessor);
}

void DBtran::removeObject(DBtable* accessor) noexcept {
    const std::lock_guard lock(DBtable::DBCriticalSection);
    objects_.erase(std::remove(objects_.begin(), objects_.end(), accessor), objects_.end());
}

int DBtran::fail(int status, const std::string& words) {
    errorWords_ = words;
    hubdb::lastFailure() = {status, words};
    return status;
}

int DBtran::failWithEngine(int status) {
    const auto& error = lease_.session().connection().error();
    return fail(status, error.status == status ? error.words : dbStatusText(status));
}

void DBtran::endReads() noexcept {
    for (auto* accessor : objects_)
        accessor->cutRead();
}

void DBtran::close() noexcept {
    failed_ = false;
    named_.clear();
    lease_.release();
}

hubdb::Lease* DBtran::usable(hubdb::EngineError& error) {
    if (!isOpen())
        error = {kDbTransactionFailed, 0, "no transaction is open"};
    else if (!lease_.usable())
        error = {kDbConnectionLost, 0, "the transaction belongs to the process that this one was forked from"};
    else if (failed_)
        error = {kDbTransactionFailed, 0,
                 "the transaction is to be rolled back, since something in it failed: " + failedWords_};
    else
        return &lease_;
    return nullptr;
}

#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Db/Tbl/APP_Application.h"
#include "db/DBtran.h"

/// One operation that changes a subclient: inside the caller's transaction, or in one of its own when that is null.
/// When it fails, the transaction has failed, whoever found the fault (db/DBtran.h). A local of its user.
///
/// Before its first write a transaction moves `modified` of the subclient's backup set, once. That tells other editors
/// that their reading is old, and it queues those who are past their checks: whoever holds that row writes, so no two
/// transactions of one set can wait for each other.
class SubclientChange {
  public:
    SubclientChange(int subclientId, void* transaction);

    /// Reads the subclient's row and calls `write(*this)`, which returns a status. That, or why it was not called;
    /// kDbConstraint: there is no such subclient.
    template <class Write> int make(Write write) {
        int status = begin();
        if (status == kDbOk)
            status = write(*this);
        return end(status);
    }

    DBtran* transaction() { return transaction_; }
    /// The subclient's current row, which rowUpdate acts on.
    APP_Application& subclient() { return *subclient_; }
    /// Unix seconds, at least 1, for what is written.
    std::int64_t now() const { return now_; }
    /// To be called before the first write at the latest.
    int beforeWrite();
    /// Writes the time from which the next backup reckons, 0 for none, unless it is that already.
    int setReferenceTime(std::int64_t time);
    /// Fails the transaction.
    int refuse(int status, const std::string& words) { return transaction_->refuse(status, words); }

  private:
    int begin();
    int end(int status);

    int id_;
    std::int64_t now_;
    std::optional<DBtran> own_;
    DBtran* transaction_;
    std::optional<APP_Application> subclient_;
};

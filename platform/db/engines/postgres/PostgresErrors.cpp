#include "db/engines/Dialect.h"
#include "db/engines/postgres/PostgresConnection.h"

namespace hubdb {

int postgresStatus(std::string_view sqlState, std::string_view constraint) {
    struct Class {
        std::string_view code; ///< or its beginning: the first that fits counts
        int status;
    };
    constexpr Class kClasses[] = {
        {"08", kDbConnectionLost},  // connection exceptions
        {"0A000", kDbBadStatement}, // not supported
        {"22003", kDbBadValue},     // numeric value out of range
        {"22P02", kDbBadValue},     // a text that is no number
        {"22001", kDbBadText},      // a text too long
        {"22021", kDbBadText},      // a text that is not of the encoding
        {"23", kDbConstraint},      // constraints; a check is looked at below
        {"25006", kDbReadOnly},     // a transaction, or a standby
        {"25P02", kDbTransactionFailed},
        {"25P03", kDbConnectionLost}, // idle too long in a transaction
        {"26000", kDbBadStatement},   // no such prepared statement
        {"40001", kDbSerialization},
        {"40P01", kDbSerialization}, // deadlock
        {"42501", kDbFailed},        // privileges
        {"42804", kDbBadValue},      // a value of another type than its column
        {"42", kDbBadStatement},     // syntax, unknown names
        {"3F000", kDbBadStatement},  // no such schema
        {"53100", kDbFull},          // disk
        {"53300", kDbBusy},          // too many connections
        {"55P03", kDbBusy},          // the lock limit passed
        {"55006", kDbBusy},          // object in use
        {"57014", kDbTimedOut},      // cancelled: by the statement limit, or by an administrator
        {"57P", kDbConnectionLost},  // shut down, crashed, starting up
        {"58030", kDbFailed},        // input or output
        {"XX001", kDbNotADatabase},  // damaged data
        {"XX002", kDbNotADatabase},  // damaged index
    };
    constexpr std::string_view kCheck = "23514";
    if (sqlState == kCheck && constraint.ends_with(kWidthRule))
        return kDbBadText;
    if (sqlState == kCheck && constraint.ends_with(kRangeRule))
        return kDbBadValue;
    for (const auto& one : kClasses)
        if (sqlState.starts_with(one.code))
            return one.status;
    return kDbFailed;
}

} // namespace hubdb

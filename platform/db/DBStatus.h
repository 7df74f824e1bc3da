#pragma once

/// Statuses of the database layer. 0 a row or done, 100 no row or nothing affected; failures are negative and tell the
/// class. What to do about a class is said beside it; the engine's own words come from DBtable::getErrorStr.
enum DBStatus : int {
    kDbOk = 0,
    kDbNoRow = 100,
    kDbFailed = -1,             ///< any other failure: look at the words
    kDbConnectionLost = -2,     ///< the connection died: run the transaction again
    kDbBusy = -3,               ///< somebody else held a lock for the whole lock limit: try later
    kDbTimedOut = -4,           ///< a connect, pool or statement limit passed: try later
    kDbConstraint = -5,         ///< a rule of the schema refuses the row: do not retry
    kDbBadStatement = -6,       ///< a form, table, column or procedure is wrong: fix the program or the schema
    kDbBadText = -7,            ///< not valid UTF-8, holds a NUL, or longer than its column: do not retry
    kDbReadOnly = -8,           ///< the database or the transaction takes no writes
    kDbFull = -9,               ///< no space left
    kDbUnknownOutcome = -10,    ///< a commit whose answer was lost: it may have happened
    kDbBadValue = -11,          ///< an integer outside its column's range, or a text where a number belongs
    kDbTransactionFailed = -12, ///< the transaction is not open, or failed before: roll it back
    kDbNotConnected = -13,      ///< HubDatabase::connect was not called, or failed
    kDbNotADatabase = -14,      ///< the file is no hub database, or is damaged
    kDbSerialization = -15      ///< lost against another transaction: run the transaction again
};

/// The class of a status in a few words, for a status without an engine's own.
constexpr const char* dbStatusText(int status) {
    switch (status) {
    case kDbOk:
        return "done";
    case kDbNoRow:
        return "no row";
    case kDbConnectionLost:
        return "the database connection was lost";
    case kDbBusy:
        return "the database is locked";
    case kDbTimedOut:
        return "the time limit passed";
    case kDbConstraint:
        return "a rule of the schema refuses the row";
    case kDbBadStatement:
        return "the statement is not valid";
    case kDbBadText:
        return "the text is not valid UTF-8, holds a NUL, or is too long for its column";
    case kDbReadOnly:
        return "the database is read-only";
    case kDbFull:
        return "no space is left for the database";
    case kDbUnknownOutcome:
        return "whether the commit happened is unknown";
    case kDbBadValue:
        return "a value does not fit its column's type";
    case kDbTransactionFailed:
        return "the transaction is not open, or failed before";
    case kDbNotConnected:
        return "no database is connected";
    case kDbNotADatabase:
        return "the file is not a hub database, or is damaged";
    case kDbSerialization:
        return "the transaction lost against another";
    default:
        return "the database reported a failure";
    }
}

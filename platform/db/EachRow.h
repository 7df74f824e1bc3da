#pragma once

#include "Db/Tbl/OVDBColumn.h"
#include "db/DBtable.h"

/// Calls `use` with every row that the accessor's filter finds. 0 after the last, or why the read failed.
template <class Accessor, class Use> int eachRow(Accessor& accessor, Use use) {
    int state = 0;
    int status = kDbOk;
    while ((status = getNextRow(&accessor, &state, -1, 0)) == kDbOk)
        use(*accessor.getDataPtr());
    return status == kDbNoRow ? kDbOk : status;
}

/// Calls `use` with every row of a cursor whose inputs are set. 0 after the last, or why the read failed.
template <class Cursor, class Use> int eachCursorRow(Cursor& cursor, Use use) {
    int status = cursor.openCursor();
    while (status == kDbOk && (status = cursor.fetchCursor(false)) == kDbOk)
        use(*cursor.getDataPtr());
    cursor.closeCursor();
    return status == kDbNoRow ? kDbOk : status;
}

/// The value of a text column without a width, null for NULL.
inline const char* valueOrNull(const OVDBText& text) {
    return text.isNull ? nullptr : text.bytes.c_str();
}

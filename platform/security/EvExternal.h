#pragma once

#include "PlatformExport.h"

class DBtran;

/// Users as the rest of the hub server knows them. A local of its user; any thread.
class VSDKPLATFORM_API EvExternal {
  public:
    /// The argument is not used.
    explicit EvExternal(int reserved);

    /// The full login name of a user, with its domain if it has one, terminated, into `login`, a buffer of 1024 bytes.
    /// `*error` becomes 0, or a status of db/DBStatus.h (100: no such user) with `login` as it was; it is returned as
    /// well. `transaction` is null for none.
    int getUserLogin(int userId, char* login, int* error, DBtran* transaction);
};

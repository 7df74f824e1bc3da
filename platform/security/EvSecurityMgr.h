#pragma once

#include <string>

#include "PlatformExport.h"

class DBtran;

/// Decides whether a password is a user's. A local of its user; any thread.
class VSDKPLATFORM_API EvSecurityMgr {
  public:
    enum Answer : unsigned char {
        kNotValid = 0,  ///< another password, no such user, or one who is not enabled
        kValid = 1,     ///< the password of an enabled user
        kUndecided = 2, ///< the row, the key or the memory was not to be had, or what is stored is no
                        ///< password: `errorText` and HubDatabase::lastFailure() tell which
    };

    /// The argument is not used.
    explicit EvSecurityMgr(int reserved);

    /// Compares with the password stored in UMUsers, hashed or encrypted, in constant time; a user who is not there
    /// costs what one with a hash does. Whoever has no password has no valid one. `errorText` is empty for kValid, else
    /// says why, for a log and not for who is asking; it never holds a secret. `transaction` is null for none.
    unsigned char validateUser(unsigned long userId, std::string& password, std::string& errorText,
                               DBtran* transaction);
    /// The same: all passwords of this platform are the database's. The last argument is not used.
    unsigned char validateUserwithDBpassword(unsigned long userId, const std::string& password, std::string& errorText,
                                             DBtran* transaction, bool reserved);
};

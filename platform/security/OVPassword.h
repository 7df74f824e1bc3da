#pragma once

#include <cstddef>
#include <string>

#include "PlatformExport.h"

/// Passwords as the database stores them, in one of two forms:
///
///   encrypted  "e1$" and base64 of: fingerprint of the key, length of the clear text, nonce, authenticated encryption
///              (libsodium's secretbox). Reversible for whoever has the key, a file that the database's URL names
///              (HubDatabase.h): for passwords that a service must have in clear.
///   hash       "4" and libsodium's string of Argon2id. Not reversible: for everybody who logs in.
///
/// Every operation answers a Result, of which 1 is success; what is neither "done" nor "no" also is the thread's
/// HubDatabase::lastFailure(), in words that hold no secret. Nothing is logged. `errno` stays as it was. Any thread;
/// clear texts are wiped here, those in the caller's buffers by the caller.
class VSDKPLATFORM_API OVPassword {
  public:
    enum Result : int {
        kDone = 1,
        kNo = 0,            ///< another password, or not that form
        kNoKey = -1,        ///< the URL names no key, or its file cannot be read
        kOtherKey = -2,     ///< encrypted under another database's key
        kDamaged = -3,      ///< changed since it was stored
        kCut = -4,          ///< its end is missing
        kNotEncrypted = -5, ///< of neither form, or a hash
        kTooLong = -6,      ///< the result does not fit the caller's buffer
        kNoMemory = -7      ///< or another resource is missing: nothing is known about the password
    };

    /// The longest text, without its terminator, that encrypt() makes fit into the password column of a login session.
    static constexpr std::size_t kClearBytesMax = 247;
    /// Room for what decrypt() gives, terminator included.
    static constexpr std::size_t kClearBuffer = 1024;

    /// The clear text of an encrypted form, terminated, into `out`. `*length` is the room there, terminator included;
    /// whatever it says, and so for callers that know no limit, no more than kClearBuffer bytes are written. On success
    /// it becomes the length of the text; on failure nothing is written.
    static int decrypt(const char* in, char* out, unsigned long* length);
    /// The encrypted form of a clear text, another one each time; as above, but that `*length` alone limits it.
    static int encrypt(const char* in, char* out, unsigned long* length);
    /// 1 for a hash form, 0 for anything else.
    static int isHashPassword(const char* stored);

    /// The hash form of a clear text, which may hold any bytes; takes 64 MiB of memory for about 0.1 s.
    static int hash(const std::string& clear, std::string& stored);
    /// Whether a stored form is that of `clear`: kDone, kNo, or why that cannot be told. In constant time for what it
    /// compares, and of a hash with the work of hash().
    static int verify(const std::string& clear, const char* stored);
    /// Does the work of verifying a hash: kNo, or kNoMemory. For those who must not show that there is nothing to
    /// verify.
    static int verifyNothing(const std::string& clear);
    /// Compares in a time that tells nothing but the lengths.
    static bool isSame(const std::string& one, const std::string& other);
};

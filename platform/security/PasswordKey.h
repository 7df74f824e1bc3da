#pragma once

#include <array>
#include <string>

#include "PlatformExport.h"

namespace hubdb {

/// The secret under which passwords are encrypted: 32 random bytes. It lives in a file beside the database, never in
/// it, as one line of 64 hexadecimal digits. A local of its user; wiped when it goes.
class VSDKPLATFORM_API PasswordKey {
  public:
    PasswordKey() = default;
    ~PasswordKey();
    PasswordKey(const PasswordKey&) = delete;
    PasswordKey& operator=(const PasswordKey&) = delete;

    static constexpr std::size_t kBytes = 32;
    static constexpr std::size_t kFingerprintBytes = 8;
    static constexpr std::size_t kLineBytes = 2 * kBytes + 1;
    using Fingerprint = std::array<unsigned char, kFingerprintBytes>;

    /// Reads the file. False, and `error` tells why, when it cannot be read or holds no key.
    bool load(const std::string& path, std::string& error);
    /// Reads the file that the process's database names.
    bool loadOfDatabase(std::string& error);

    const unsigned char* bytes() const { return bytes_.data(); }
    /// Tells keys apart without telling anything about them.
    Fingerprint fingerprint() const;

    /// The content of a file for a new key, which the caller wipes. Ends the process where the system has no randomness
    /// to give: nothing may pass for a key.
    static std::array<char, kLineBytes> newLine();

  private:
    std::array<unsigned char, kBytes> bytes_{};
};

} // namespace hubdb

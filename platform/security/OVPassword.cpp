#include "security/OVPassword.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>
#include <vector>

#include "db/ConnectionPool.h"
#include "security/PasswordKey.h"
#include "security/Sodium.h"

namespace {

using hubdb::PasswordKey;
using Bytes = std::vector<unsigned char>;

constexpr std::string_view kEncryptedMark = "e1$";
constexpr std::string_view kHashMark = "4$argon2id$";
constexpr int kBase64 = sodium_base64_VARIANT_ORIGINAL_NO_PADDING;

// The bytes of an encrypted form, in their order.
constexpr std::size_t kLengthAt = PasswordKey::kFingerprintBytes;
constexpr std::size_t kNonceAt = kLengthAt + 2; // the length is of two bytes, the higher first
constexpr std::size_t kBoxAt = kNonceAt + crypto_secretbox_NONCEBYTES;
constexpr std::size_t kOverhead = kBoxAt + crypto_secretbox_MACBYTES;

constexpr std::size_t kSumBytes = 32; // of Argon2id, as libsodium makes its strings

constexpr std::size_t base64Length(std::size_t bytes) {
    return (bytes * 4 + 2) / 3;
}

constexpr std::size_t kSessionColumn = 400; // of UMVSDKSessions.password, without the terminator
static_assert(kEncryptedMark.size() + base64Length(kOverhead + OVPassword::kClearBytesMax) <= kSessionColumn);
static_assert(kEncryptedMark.size() + base64Length(kOverhead + OVPassword::kClearBytesMax + 1) > kSessionColumn);

/// Nobody outside is to see what happened within by `errno`.
class KeepErrno {
  public:
    KeepErrno() = default;
    ~KeepErrno() { errno = before_; }
    KeepErrno(const KeepErrno&) = delete;
    KeepErrno& operator=(const KeepErrno&) = delete;

  private:
    int before_ = errno;
};

const char* wordsOf(int result) {
    switch (result) {
    case OVPassword::kOtherKey:
        return "the stored password was encrypted under another key";
    case OVPassword::kDamaged:
        return "the stored password is damaged";
    case OVPassword::kCut:
        return "the end of the stored password is missing";
    case OVPassword::kNotEncrypted:
        return "what is stored is no encrypted password";
    case OVPassword::kTooLong:
        return "the password is too long";
    default:
        return "not enough memory for the password's hash";
    }
}

int fail(int result, const std::string& words) {
    hubdb::lastFailure() = {kDbFailed, words};
    return result;
}

int fail(int result) {
    return fail(result, wordsOf(result));
}

/// False for a text that is not base64.
bool decodeBase64(std::string_view text, Bytes& bytes) {
    bytes.resize(text.size());
    std::size_t length = 0;
    // Of bytes beyond ASCII, libsodium takes each for a slash.
    const bool ascii = std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    if (!ascii || sodium_base642bin(bytes.data(), bytes.size(), text.data(), text.size(), nullptr, &length, nullptr,
                                    kBase64) != 0)
        return false;
    bytes.resize(length);
    return true;
}

/// Takes an encrypted form apart: kDone, kNotEncrypted, kCut or kDamaged.
int decode(std::string_view stored, Bytes& bytes, std::size_t& clearLength) {
    if (!stored.starts_with(kEncryptedMark))
        return OVPassword::kNotEncrypted;
    stored.remove_prefix(kEncryptedMark.size());
    constexpr std::size_t kHead = 16; // whole groups that hold the length
    static_assert(kHead * 3 / 4 >= kNonceAt && kHead % 4 == 0);
    if (stored.size() < kHead)
        return OVPassword::kCut;
    if (!decodeBase64(stored.substr(0, kHead), bytes))
        return OVPassword::kDamaged;
    clearLength = std::size_t{bytes[kLengthAt]} << 8U | bytes[kLengthAt + 1];
    const std::size_t whole = base64Length(kOverhead + clearLength);
    if (stored.size() != whole)
        return stored.size() < whole ? OVPassword::kCut : OVPassword::kDamaged;
    return decodeBase64(stored, bytes) && bytes.size() == kOverhead + clearLength ? OVPassword::kDone
                                                                                  : OVPassword::kDamaged;
}

/// A hash form, taken apart. libsodium could verify its string itself, but answers the same for another password and
/// for a lack of memory.
struct Argon2id {
    std::size_t memory = crypto_pwhash_MEMLIMIT_INTERACTIVE; ///< bytes
    unsigned long long passes = crypto_pwhash_OPSLIMIT_INTERACTIVE;
    std::array<unsigned char, crypto_pwhash_SALTBYTES> salt{};
    std::array<unsigned char, kSumBytes> sum{};

    /// Computes the sum of a clear text. False without the memory for it.
    bool compute(const std::string& clear, std::array<unsigned char, kSumBytes>& result) const {
        return hubdb::sodiumIsReady() && crypto_pwhash(result.data(), result.size(), clear.data(), clear.size(),
                                                       salt.data(), passes, memory, crypto_pwhash_ALG_ARGON2ID13) == 0;
    }
};

/// Takes `text` off the front of what is left.
bool skip(std::string_view& left, std::string_view text) {
    const bool is = left.starts_with(text);
    left.remove_prefix(is ? text.size() : 0);
    return is;
}

bool takeNumber(std::string_view& left, unsigned long most, unsigned long& number) {
    const auto [end, failure] = std::from_chars(left.data(), left.data() + left.size(), number);
    left.remove_prefix(static_cast<std::size_t>(end - left.data()));
    return failure == std::errc() && number > 0 && number <= most;
}

template <std::size_t N> bool takeBytes(std::string_view& left, std::array<unsigned char, N>& bytes) {
    Bytes decoded;
    if (left.size() < base64Length(N) || !decodeBase64(left.substr(0, base64Length(N)), decoded) || decoded.size() != N)
        return false;
    std::ranges::copy(decoded, bytes.begin());
    left.remove_prefix(base64Length(N));
    return true;
}

bool parse(std::string_view stored, Argon2id& hash) {
    constexpr unsigned long kMemoryMost = 1U << 20U; // KiB: more is no work that a login may cost
    constexpr unsigned long kPassesMost = 100;
    unsigned long kibibytes = 0;
    unsigned long passes = 0;
    const bool whole =
        skip(stored, kHashMark) && skip(stored, "v=19$m=") && takeNumber(stored, kMemoryMost, kibibytes) &&
        skip(stored, ",t=") && takeNumber(stored, kPassesMost, passes) && skip(stored, ",p=1$") &&
        takeBytes(stored, hash.salt) && skip(stored, "$") && takeBytes(stored, hash.sum) && stored.empty();
    hash.memory = std::size_t{kibibytes} * 1024;
    hash.passes = passes;
    return whole && hash.memory >= crypto_pwhash_MEMLIMIT_MIN;
}

int verifyHash(const std::string& clear, const char* stored) {
    Argon2id hash;
    if (!parse(stored, hash))
        return fail(OVPassword::kDamaged);
    auto sum = hash.sum;
    if (!hash.compute(clear, sum))
        return fail(OVPassword::kNoMemory);
    const bool same = sodium_memcmp(sum.data(), hash.sum.data(), sum.size()) == 0;
    sodium_memzero(sum.data(), sum.size());
    return same ? OVPassword::kDone : OVPassword::kNo;
}

} // namespace

int OVPassword::decrypt(const char* in, char* out, unsigned long* length) {
    const KeepErrno keep;
    Bytes bytes;
    std::size_t clearLength = 0;
    if (const int result = decode(in, bytes, clearLength); result != kDone)
        return fail(result);
    PasswordKey key;
    std::string error;
    if (!key.loadOfDatabase(error))
        return fail(kNoKey, error);
    const auto fingerprint = key.fingerprint();
    if (std::memcmp(fingerprint.data(), bytes.data(), fingerprint.size()) != 0)
        return fail(kOtherKey);
    if (clearLength >= std::min<std::size_t>(*length, kClearBuffer))
        return fail(kTooLong);
    std::array<unsigned char, kClearBuffer> clear{};
    const bool opened = crypto_secretbox_open_easy(clear.data(), bytes.data() + kBoxAt, bytes.size() - kBoxAt,
                                                   bytes.data() + kNonceAt, key.bytes()) == 0;
    if (opened) {
        std::memcpy(out, clear.data(), clearLength + 1);
        *length = clearLength;
    }
    sodium_memzero(clear.data(), clear.size());
    return opened ? kDone : fail(kDamaged);
}

int OVPassword::encrypt(const char* in, char* out, unsigned long* length) {
    const KeepErrno keep;
    const std::size_t clearLength = std::strlen(in);
    const std::size_t size = kEncryptedMark.size() + base64Length(kOverhead + clearLength) + 1;
    if (clearLength > std::numeric_limits<std::uint16_t>::max() || size > *length)
        return fail(kTooLong);
    PasswordKey key;
    std::string error;
    if (!key.loadOfDatabase(error))
        return fail(kNoKey, error);
    Bytes bytes(kOverhead + clearLength);
    const auto fingerprint = key.fingerprint();
    std::memcpy(bytes.data(), fingerprint.data(), fingerprint.size());
    bytes[kLengthAt] = static_cast<unsigned char>(clearLength >> 8U);
    bytes[kLengthAt + 1] = static_cast<unsigned char>(clearLength);
    randombytes_buf(bytes.data() + kNonceAt, crypto_secretbox_NONCEBYTES);
    crypto_secretbox_easy(bytes.data() + kBoxAt, reinterpret_cast<const unsigned char*>(in), clearLength,
                          bytes.data() + kNonceAt, key.bytes());
    std::memcpy(out, kEncryptedMark.data(), kEncryptedMark.size());
    sodium_bin2base64(out + kEncryptedMark.size(), size - kEncryptedMark.size(), bytes.data(), bytes.size(), kBase64);
    *length = size - 1;
    return kDone;
}

int OVPassword::isHashPassword(const char* stored) {
    return std::string_view(stored).starts_with(kHashMark) ? 1 : 0;
}

int OVPassword::hash(const std::string& clear, std::string& stored) {
    const KeepErrno keep;
    std::array<char, crypto_pwhash_STRBYTES> text{};
    if (!hubdb::sodiumIsReady() ||
        crypto_pwhash_str_alg(text.data(), clear.data(), clear.size(), crypto_pwhash_OPSLIMIT_INTERACTIVE,
                              crypto_pwhash_MEMLIMIT_INTERACTIVE, crypto_pwhash_ALG_ARGON2ID13) != 0)
        return fail(kNoMemory);
    stored = kHashMark.substr(0, 1);
    stored += text.data();
    return kDone;
}

int OVPassword::verify(const std::string& clear, const char* stored) {
    const KeepErrno keep;
    if (isHashPassword(stored) == 1)
        return verifyHash(clear, stored);
    std::array<char, kClearBuffer> text{};
    unsigned long length = text.size();
    int result = decrypt(stored, text.data(), &length);
    if (result == kDone)
        result = clear.size() == length && sodium_memcmp(clear.data(), text.data(), length) == 0 ? kDone : kNo;
    sodium_memzero(text.data(), text.size());
    return result;
}

int OVPassword::verifyNothing(const std::string& clear) {
    const KeepErrno keep;
    // Of a password that nobody knows.
    Argon2id nobodys;
    return nobodys.compute(clear, nobodys.sum) ? kNo : fail(kNoMemory);
}

bool OVPassword::isSame(const std::string& one, const std::string& other) {
    return one.size() == other.size() && sodium_memcmp(one.data(), other.data(), one.size()) == 0;
}

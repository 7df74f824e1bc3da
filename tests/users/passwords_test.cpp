#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <set>
#include <string>

#include "db/DBtran.h"
#include "security/EvExternal.h"
#include "security/EvSecurityMgr.h"
#include "security/OVGlobalParam.h"
#include "users/UsersTest.h"

namespace {

/// What an engine does not decide is asked on one.
class Passwords : public UsersTest {
  protected:
    static std::string words() {
        std::string text;
        HubDatabase::lastFailure(text);
        HubDatabase::clearLastFailure();
        return text;
    }
};
INSTANTIATE_TEST_SUITE_P(Engines, Passwords,
                         ::testing::Combine(::testing::Values(&support::makeSqliteHub), ::testing::Values(true)),
                         [](const auto& test) { return engineName(test); });

constexpr auto kNoLimit = std::numeric_limits<unsigned long>::max();

/// A buffer whose every byte is known before. Keeps `errno` in sight, which nothing here may change.
struct Buffer {
    static constexpr char kCanary = '\x55';
    std::string bytes = std::string(4096, kCanary);
    unsigned long length = 0;

    /// The result, and all bytes behind what it says it wrote are as they were.
    int take(int (*operation)(const char*, char*, unsigned long*), const std::string& in, unsigned long room) {
        bytes.assign(bytes.size(), kCanary);
        length = room;
        errno = ENOTTY;
        const int result = operation(in.c_str(), bytes.data(), &length);
        EXPECT_EQ(errno, ENOTTY);
        if (result != OVPassword::kDone) {
            EXPECT_EQ(length, room);
        } else {
            EXPECT_LT(length, room);
            EXPECT_EQ(bytes[length], '\0');
        }
        const std::size_t written = result == OVPassword::kDone ? length + 1 : 0;
        EXPECT_EQ(bytes.find_first_not_of(kCanary, written), std::string::npos);
        return result;
    }
    std::string text() const { return bytes.substr(0, length); }
};

TEST_P(Passwords, EncryptedAndBack) {
    Buffer stored;
    Buffer clear;
    for (std::size_t length = 0; length < 1030; length += length == 260 ? 760 : 1) {
        SCOPED_TRACE(length);
        std::string text(length, '\0');
        std::ranges::generate(text, [i = 0]() mutable { return static_cast<char>(i++ % 255 + 1); });
        const bool fitsSession = length <= OVPassword::kClearBytesMax;
        EXPECT_EQ(stored.take(&OVPassword::encrypt, text, 401), fitsSession ? OVPassword::kDone : OVPassword::kTooLong);
        ASSERT_EQ(stored.take(&OVPassword::encrypt, text, 4096), OVPassword::kDone);
        const std::string encryptedText = stored.text();
        EXPECT_EQ(stored.take(&OVPassword::encrypt, text, encryptedText.size()), OVPassword::kTooLong);
        EXPECT_EQ(clear.take(&OVPassword::decrypt, encryptedText, kNoLimit),
                  length < OVPassword::kClearBuffer ? OVPassword::kDone : OVPassword::kTooLong);
        EXPECT_EQ(clear.take(&OVPassword::decrypt, encryptedText, length), OVPassword::kTooLong);
        if (length < OVPassword::kClearBuffer) {
            EXPECT_EQ(clear.take(&OVPassword::decrypt, encryptedText, length + 1), OVPassword::kDone);
            EXPECT_EQ(clear.text(), text);
        }
    }
    EXPECT_EQ(stored.take(&OVPassword::encrypt, std::string(65536, 'x'), kNoLimit), OVPassword::kTooLong);
    EXPECT_NE(encrypted("same"), encrypted("same"));
}

TEST_P(Passwords, DamagedEncryptedForms) {
    const std::string whole = encrypted("secret");
    Buffer clear;
    for (std::size_t cut = 0; cut < whole.size(); ++cut)
        EXPECT_EQ(clear.take(&OVPassword::decrypt, whole.substr(0, cut), kNoLimit),
                  cut < 3 ? OVPassword::kNotEncrypted : OVPassword::kCut)
            << cut;
    for (std::size_t at = 0; at < whole.size(); ++at)
        for (int byte = 1; byte < 256; ++byte) {
            std::string changed = whole;
            changed[at] = static_cast<char>(byte);
            const int result = clear.take(&OVPassword::decrypt, changed, kNoLimit);
            if (changed == whole)
                EXPECT_EQ(result, OVPassword::kDone);
            else if (at < 3)
                EXPECT_EQ(result, OVPassword::kNotEncrypted) << at;
            else
                EXPECT_TRUE(result == OVPassword::kDamaged || result == OVPassword::kCut ||
                            result == OVPassword::kOtherKey)
                    << at << ": " << byte << " gives " << result;
        }
    for (const char* more : {"A", "=", "\n", "AAAA"})
        EXPECT_EQ(clear.take(&OVPassword::decrypt, whole + more, kNoLimit), OVPassword::kDamaged) << more;
    EXPECT_EQ(clear.take(&OVPassword::decrypt, hashed("secret"), kNoLimit), OVPassword::kNotEncrypted);
    EXPECT_EQ(words(), "what is stored is no encrypted password");
}

TEST_P(Passwords, Hashes) {
    const std::string clear("hash\0me", 7);
    const std::string stored = hashed(clear);
    EXPECT_EQ(stored.substr(0, 11), "4$argon2id$");
    EXPECT_LE(stored.size(), 400);
    EXPECT_NE(hashed(clear), stored);
    for (std::size_t cut = 0; cut < stored.size(); ++cut)
        EXPECT_EQ(OVPassword::verify(clear, stored.substr(0, cut).c_str()),
                  cut < 11 ? OVPassword::kNotEncrypted : OVPassword::kDamaged)
            << cut;
    const auto with = [&stored](const std::string& from, const std::string& to) {
        return std::string(stored).replace(stored.find(from), from.size(), to);
    };
    std::string otherSalt = stored;
    otherSalt[40] = otherSalt[40] == 'A' ? 'B' : 'A';
    struct Verified {
        std::string clear;
        std::string stored;
        int result;
    };
    for (const auto& [given, form, result] : {Verified{clear, stored, OVPassword::kDone},
                                              {"hash", stored, OVPassword::kNo},
                                              {"", stored, OVPassword::kNo},
                                              {stored, stored, OVPassword::kNo},
                                              {clear, otherSalt, OVPassword::kNo},
                                              {clear, with("t=2", "t=3"), OVPassword::kNo},
                                              {clear, with("t=2", "t=0"), OVPassword::kDamaged},
                                              {clear, with("t=2", "t=+2"), OVPassword::kDamaged},
                                              {clear, with("m=65536", "m=1"), OVPassword::kDamaged},
                                              {clear, with("m=65536", "m=99999999999"), OVPassword::kDamaged},
                                              {clear, with("v=19", "v=16"), OVPassword::kDamaged},
                                              {clear, with("p=1", "p=2"), OVPassword::kDamaged},
                                              {clear, stored + "A", OVPassword::kDamaged},
                                              {clear, stored + "$", OVPassword::kDamaged},
                                              {clear, stored.substr(1), OVPassword::kNotEncrypted},
                                              {"secret", encrypted("secret"), OVPassword::kDone},
                                              {std::string("secret", 7), encrypted("secret"), OVPassword::kNo},
                                              {"Secret", encrypted("secret"), OVPassword::kNo},
                                              {"", encrypted(""), OVPassword::kDone},
                                              {"secret", "secret", OVPassword::kNotEncrypted},
                                              {"", "", OVPassword::kNotEncrypted}}) {
        errno = ENOTTY;
        EXPECT_EQ(OVPassword::verify(given, form.c_str()), result) << form;
        EXPECT_EQ(errno, ENOTTY);
    }
    EXPECT_EQ(OVPassword::verifyNothing(clear), OVPassword::kNo);
    EXPECT_EQ(OVPassword::isHashPassword(stored.c_str()), 1);
    for (const auto& other : {std::string("4"), encrypted("4"), std::string(), std::string("4$argon2i$")})
        EXPECT_EQ(OVPassword::isHashPassword(other.c_str()), 0) << other;
}

TEST_P(Passwords, KeyFiles) {
    const std::string stored = encrypted("secret");
    const std::string path = directory_.file("some.key");
    std::string digits;
    std::ifstream(directory_.file("hub.key")) >> digits;
    std::string upper = digits;
    std::ranges::transform(upper, upper.begin(), [](unsigned char c) { return std::toupper(c); });
    const std::string cannot = path + ": the key of stored passwords cannot be read: ";
    const std::string holds = path + ": holds no key of stored passwords, which is a line of 64 hexadecimal digits";
    struct File {
        std::string content;
        int result;
        std::string words;
    };
    Buffer clear;
    const auto expect = [&](const File& file) {
        connect("key=" + path);
        EXPECT_EQ(clear.take(&OVPassword::decrypt, stored, kNoLimit), file.result);
        EXPECT_EQ(words(), file.words);
        EXPECT_EQ(OVPassword::verify("secret", stored.c_str()), file.result);
        EXPECT_EQ(words(), file.words);
        Buffer out;
        EXPECT_EQ(out.take(&OVPassword::encrypt, "secret", 401),
                  file.result == OVPassword::kNoKey ? OVPassword::kNoKey : OVPassword::kDone);
        words();
    };
    for (const auto& file :
         {File{digits + "\n", OVPassword::kDone, ""},
          {digits, OVPassword::kDone, ""},
          {upper, OVPassword::kDone, ""},
          {digits + "\r\n", OVPassword::kNoKey, holds},
          {digits + "\n\n", OVPassword::kNoKey, holds},
          {digits + "0", OVPassword::kNoKey, holds},
          {digits.substr(1), OVPassword::kNoKey, holds},
          {digits.substr(1) + "\n", OVPassword::kNoKey, holds},
          {digits.substr(1) + "g", OVPassword::kNoKey, holds},
          {"", OVPassword::kNoKey, holds},
          {std::string(100'000, 'a'), OVPassword::kNoKey, holds},
          {std::string(64, '0'), OVPassword::kOtherKey, "the stored password was encrypted under another key"}}) {
        SCOPED_TRACE(file.content.substr(0, 70));
        std::ofstream(path) << file.content;
        expect(file);
    }
    unlink(path.c_str());
    expect({"", OVPassword::kNoKey, cannot + "No such file or directory"});
    mkdir(path.c_str(), 0700);
    expect({"", OVPassword::kNoKey, cannot + "Is a directory"});
    rmdir(path.c_str());
    mkfifo(path.c_str(), 0600);
    expect({"", OVPassword::kNoKey, holds});
    HubDatabase::disconnect();
    EXPECT_EQ(clear.take(&OVPassword::decrypt, stored, kNoLimit), OVPassword::kNoKey);
    EXPECT_NE(words().find("connect"), std::string::npos);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // whose shadows need all the room there is
/// Nobody gets in, and nobody is told that the password is wrong, by whom there is no memory to ask.
TEST_P(Passwords, WithoutMemoryNothingIsKnown) {
    const std::string hash = hashed("secret");
    hub_->run(userRow(5, "alice", hash) + userRow(6, "bob", hash, 0) + userRow(7, "none", std::nullopt));
    HubDatabase::disconnect();
    const pid_t child = fork();
    if (child == 0) {
        connect("key=" + directory_.file("hub.key"));
        int wrong = find("none") == kDbNoRow ? 0 : 1; // connected
        std::size_t pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        const rlim_t room = pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) + (32U << 20U);
        const rlimit limit{room, room};
        setrlimit(RLIMIT_AS, &limit);
        const std::string expected = "not enough memory for the password's hash";
        const auto check = [&](int result) {
            wrong += result == OVPassword::kNoMemory && words() == expected && errno == ENOTTY ? 0 : 1;
        };
        std::string made = "?";
        errno = ENOTTY;
        check(OVPassword::hash("secret", made));
        check(OVPassword::verify("secret", hash.c_str()));
        check(OVPassword::verifyNothing("secret"));
        for (const unsigned long id : {5UL, 6UL, 7UL, 99UL, 5UL + (1UL << 32U)}) {
            std::string password = "secret";
            std::string error;
            wrong += EvSecurityMgr(0).validateUser(id, password, error, nullptr) == EvSecurityMgr::kUndecided &&
                             error == expected
                         ? 0
                         : 1;
        }
        _exit(wrong + (made == "?" ? 0 : 1));
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}
#endif

// ---- on every engine

USERS_TEST(Security, ::testing::Values(true));

TEST_P(Security, WhoseThePasswordIs) {
    const std::string stored = encrypted("secret");
    const std::string hash = hashed("geheim");
    hub_->run(userRow(5, "alice", stored) + userRow(6, "hash", hash) + userRow(7, "off", stored, 0) +
              userRow(8, "hash, off", hash, 0) + userRow(9, "empty", "") + userRow(10, "null", std::nullopt) +
              userRow(11, "two", stored, 2) + userRow(12, "plain", "secret") +
              userRow(13, "changed", stored.substr(0, stored.size() - 1) + "!") + userRow(14, "void", encrypted("")) +
              userRow(15, "empty, off", "", 0));
    struct Asked {
        unsigned long id;
        std::string password;
        int answer;
        std::string error;
    };
    const std::string another = "the password is another one";
    const std::string nobody = "there is no such user";
    const std::string disabled = "the user is disabled";
    const std::string none = "the user has no password";
    for (const auto& [id, password, answer, error] : {Asked{5, "secret", 1, ""},
                                                      {5, "Secret", 0, another},
                                                      {5, "", 0, another},
                                                      {5, std::string("secret", 7), 0, another},
                                                      {5, stored, 0, another},
                                                      {6, "geheim", 1, ""},
                                                      {6, "geheim ", 0, another},
                                                      {6, hash, 0, another},
                                                      {7, "secret", 0, disabled},
                                                      {7, "wrong", 0, disabled},
                                                      {8, "geheim", 0, disabled},
                                                      {9, "", 0, none},
                                                      {10, "", 0, none},
                                                      {11, "secret", 0, disabled},
                                                      {12, "secret", 2, "what is stored is no encrypted password"},
                                                      {13, "secret", 2, "the stored password is damaged"},
                                                      {14, "", 1, ""},
                                                      {15, "", 0, disabled},
                                                      {4, "secret", 0, nobody},
                                                      {5 + (1UL << 32U), "secret", 0, nobody},
                                                      {~0UL, "secret", 0, nobody}}) {
        SCOPED_TRACE(std::to_string(id) + " " + password);
        std::string given = password;
        std::string why = "?";
        EXPECT_EQ(EvSecurityMgr(0).validateUser(id, given, why, nullptr), answer);
        EXPECT_EQ(why, error);
    }
    std::string password = "secret";
    std::string error;
    failAt(1);
    EXPECT_EQ(EvSecurityMgr(0).validateUser(5, password, error, nullptr), 2);
    EXPECT_TRUE(error.starts_with("the user cannot be read: ")) << error;
}

TEST_P(Security, LoginsOfUsers) {
    const std::string longest = "dom\\" + std::string(1014, 'x') + "ä";
    hub_->run(userRow(5, "corp\\alice", "") + userRow(6, longest, ""));
    std::array<char, 1024> login{};
    const auto ask = [&login](int id) {
        int error = 7;
        login.fill('?');
        login.back() = '\0';
        EXPECT_EQ(EvExternal(0).getUserLogin(id, login.data(), &error, nullptr), error);
        return std::to_string(error) + login.data();
    };
    const std::string untouched(1023, '?');
    EXPECT_EQ(ask(5), "0corp\\alice");
    EXPECT_EQ(ask(6), "0" + longest);
    EXPECT_EQ(ask(7), "100" + untouched);
    failAt(1);
    EXPECT_EQ(ask(5), "-1" + untouched);
}

TEST_P(Security, GlobalParameters) {
    const auto rows = [this] {
        return hub_->ask("SELECT name, value, created, modified FROM ZXGlobalParam ORDER BY id");
    };
    const auto get = [](const std::string& name) {
        std::string value = "?";
        const int status = OVGlobalParam::get(name, value, nullptr);
        return std::to_string(status) + " " + value;
    };
    EXPECT_EQ(get("a"), "524289 ?");
    EXPECT_EQ(OVGlobalParam::remove("a", nullptr), OVGlobalParam::kNotSet);
    EXPECT_EQ(OVGlobalParam::set("a", "it's", nullptr), 0);
    EXPECT_EQ(get("a"), "0 it's");
    EXPECT_EQ(rows(), "a|it's|1700000000|1700000000");
    clock += 5;
    EXPECT_EQ(OVGlobalParam::set("a", "", nullptr), 0);
    EXPECT_EQ(rows(), "a||1700000000|1700000005");
    EXPECT_EQ(get("a"), "0 ");
    {
        DBtran transaction;
        ASSERT_EQ(transaction.startTran(), 0);
        EXPECT_EQ(OVGlobalParam::set("a", "x", &transaction), 0);
        EXPECT_EQ(OVGlobalParam::remove("a", &transaction), 0);
        EXPECT_EQ(OVGlobalParam::set("b", "x", &transaction), 0);
        std::string value;
        EXPECT_EQ(OVGlobalParam::get("b", value, &transaction), 0);
        EXPECT_EQ(value, "x");
        EXPECT_EQ(transaction.rollbackTran(), 0);
    }
    hub_->run(parameter("a", "second") + parameter("A", std::nullopt));
    EXPECT_EQ(get("a"), "0 ");
    EXPECT_EQ(get("A"), "0 ");
    EXPECT_EQ(get("a' OR '1'='1"), "524289 ?");
    EXPECT_EQ(get(std::string("a\0", 2)), std::to_string(kDbBadText) + " ?");
    const std::string before = rows();
    for (const auto& [name, value] : {std::pair<std::string, std::string>{std::string(129, 'n'), "v"},
                                      {"n", "\xFF"},
                                      {"a", std::string("v\0", 2)},
                                      {"\xC3", "v"}})
        EXPECT_EQ(OVGlobalParam::set(name, value, nullptr), kDbBadText);
    for (const int at : {1, 2}) {
        failAt(at);
        EXPECT_EQ(OVGlobalParam::set("n", "v", nullptr), kDbFailed);
    }
    failAt(1);
    EXPECT_EQ(OVGlobalParam::remove("a", nullptr), kDbFailed);
    failAt(1);
    EXPECT_EQ(get("a"), "-1 ?");
    hubdb::faultHook = nullptr;
    EXPECT_EQ(rows(), before);
    EXPECT_EQ(OVGlobalParam::remove("a", nullptr), 0);
    EXPECT_EQ(get("a"), "524289 ?");
}

} // namespace

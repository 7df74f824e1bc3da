#include "security/EvSecurityMgr.h"

#include "Db/Tbl/UMUsers.h"
#include "security/OVPassword.h"

EvSecurityMgr::EvSecurityMgr(int /*reserved*/) {}

unsigned char EvSecurityMgr::validateUser(unsigned long userId, std::string& password, std::string& errorText,
                                          DBtran* transaction) {
    return validateUserwithDBpassword(userId, password, errorText, transaction, true);
}

unsigned char EvSecurityMgr::validateUserwithDBpassword(unsigned long userId, const std::string& password,
                                                        std::string& errorText, DBtran* transaction,
                                                        bool /*reserved*/) {
    UMUsers user(transaction);
    const int id = static_cast<int>(userId);
    int status = kDbNoRow;
    if (static_cast<unsigned long>(id) == userId) { // else it must not become somebody else's
        user.setIsolationType(4);
        user.setWhere("id=%d", id);
        status = getOneRow(&user, false, -1, 0);
    }
    if (status != kDbOk && status != kDbNoRow) {
        errorText = "the user cannot be read: " + user.getErrorStr(status);
        return kUndecided;
    }
    const char* const stored = user.getDataPtr()->password;
    const bool known = status == kDbOk && *stored != '\0';
    // Whatever is known of the user already, the work is done first.
    const int result = known ? OVPassword::verify(password, stored) : OVPassword::verifyNothing(password);
    if (result < 0) {
        errorText = hubdb::lastFailure().words;
        return kUndecided;
    }
    errorText = status != kDbOk                   ? "there is no such user"
                : user.getDataPtr()->enabled != 1 ? "the user is disabled"
                : !known                          ? "the user has no password"
                : result != OVPassword::kDone     ? "the password is another one"
                                                  : "";
    return errorText.empty() ? kValid : kNotValid;
}

#include "security/EvExternal.h"

#include <cstring>

#include "Db/Tbl/UMUsers.h"

EvExternal::EvExternal(int /*reserved*/) {}

int EvExternal::getUserLogin(int userId, char* login, int* error, DBtran* transaction) {
    constexpr std::size_t kBuffer = 1024;
    static_assert(sizeof UMUsers_t::login <= kBuffer);
    UMUsers user(transaction);
    user.setIsolationType(4);
    user.setWhere("id=%d", userId);
    *error = getOneRow(&user, false, -1, 0);
    if (*error == kDbOk)
        std::strcpy(login, user.getDataPtr()->login);
    return *error;
}

#include "users/VSDKUsers.h"

#include <array>

#include <uuid/uuid.h>

bool CreateGuid(std::string& out) {
    uuid_t guid;
    uuid_generate_random(guid);
    std::array<char, UUID_STR_LEN> text{};
    uuid_unparse_lower(guid, text.data());
    out = text.data();
    return true;
}

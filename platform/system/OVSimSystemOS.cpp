#include "system/OVSimSystemOS.h"

#include <cstring>

#include "Db/Tbl/APP_iDAType.h"
#include "log/EvDebug.h"

bool OVSimSystemOS::getAppTypeName(int appTypeId, unsigned long /*clientId*/, char* buffer, int* size) {
    if (!inFocus() || buffer == nullptr || size == nullptr || *size <= 0)
        return false;
    APP_iDAType type(nullptr);
    type.setIsolationType(4);
    type.setWhere("type=%d", appTypeId);
    const int read = getOneRow(&type, false, -1, 0);
    if (read != kDbOk) {
        if (read == kDbNoRow)
            EvDebug::DebugLvl(__func__, 3, "Agent type [%d] has no display name", appTypeId);
        else
            EvDebug::DebugLvl(__func__, 1, "Failed to read agent type [%d]: %s", appTypeId,
                              type.getErrorStr(read).c_str());
        return false;
    }
    const char* const name = type.getDataPtr()->name;
    const std::size_t length = std::strlen(name);
    if (length >= static_cast<std::size_t>(*size))
        return false;
    std::memcpy(buffer, name, length + 1);
    *size = static_cast<int>(length);
    return true;
}

#include "Db/Tbl/OVDBDataType.h"

const char OVDB_int_format[] = "%d";
const char OVDB___int64_format[] = "%lld";

OVDBDataTypeBase::~OVDBDataTypeBase() = default;

void OVDBDataTypeBase::clearMemoryOnNULL() {}

void OVDBDataTypeBase::setInternalNull(bool flag) {
    if (flag == null)
        return;
    state = 0;
    null = flag;
    if (flag)
        clearMemoryOnNULL();
}

OVDB_string::OVDB_string(const char* initial) {
    if (initial == nullptr)
        return;
    value = initial;
    null = false;
    updated = kUpdated;
}

void OVDB_string::clearMemoryOnNULL() {
    value.clear();
}

bool OVDB_string::setData(const char* source, int offset, int length, bool /*unused*/) {
    if (offset < 0 || length < 0 || static_cast<std::size_t>(offset) > value.size())
        return false;
    value.resize(static_cast<std::size_t>(offset));
    if (length > 0)
        value.append(source, static_cast<std::size_t>(length));
    state = 0;
    return true;
}

void OVDB_string::setString() const {
    text = value;
}

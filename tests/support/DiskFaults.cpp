#include "support/DiskFaults.h"

#include <sqlite3.h>

#include <atomic>

namespace support {

namespace {

std::atomic<DiskFault> fault = DiskFault::kNone;
std::atomic<int> writesLeft = 0;
sqlite3_vfs* disk = nullptr;
const sqlite3_io_methods* fileMethods = nullptr;
sqlite3_io_methods faultyMethods;

int write(sqlite3_file* file, const void* bytes, int count, sqlite3_int64 offset) {
    const DiskFault now = fault;
    if ((now == DiskFault::kFull || now == DiskFault::kBroken) && writesLeft-- <= 0)
        return now == DiskFault::kFull ? SQLITE_FULL : SQLITE_IOERR_WRITE;
    return fileMethods->xWrite(file, bytes, count, offset);
}

int open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
    if (fault == DiskFault::kReadOnly)
        flags = (flags & ~(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE)) | SQLITE_OPEN_READONLY;
    const int code = disk->xOpen(disk, name, file, flags, outFlags);
    if (code == SQLITE_OK && (flags & SQLITE_OPEN_MAIN_DB) != 0) {
        fileMethods = file->pMethods;
        faultyMethods = *fileMethods;
        faultyMethods.xWrite = &write;
        file->pMethods = &faultyMethods;
    }
    return code;
}

sqlite3_vfs* between() {
    static sqlite3_vfs vfs = [] {
        disk = sqlite3_vfs_find(nullptr);
        sqlite3_vfs copy = *disk;
        copy.zName = "disk-faults";
        copy.xOpen = &open;
        return copy;
    }();
    return &vfs;
}

} // namespace

DiskFaults::DiskFaults() {
    sqlite3_vfs_register(between(), 1);
}

DiskFaults::~DiskFaults() {
    set(DiskFault::kNone);
    sqlite3_vfs_register(disk, 1);
}

void DiskFaults::set(DiskFault next) {
    setAfter(0, next);
}

void DiskFaults::setAfter(int writes, DiskFault next) {
    writesLeft = writes;
    fault = next;
}

} // namespace support

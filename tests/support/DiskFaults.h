#pragma once

namespace support {

/// What is wrong with the disk, below the real engine, for database files opened while this lives.
enum class DiskFault {
    kNone,
    kFull,    ///< no write finds room, at once
    kBroken,  ///< every write fails
    kReadOnly ///< files open for reading only
};

/// Puts itself between SQLite and its files. Databases opened before are not touched. One at a time.
class DiskFaults {
  public:
    DiskFaults();
    ~DiskFaults();
    DiskFaults(const DiskFaults&) = delete;
    DiskFaults& operator=(const DiskFaults&) = delete;

    static void set(DiskFault fault);
    /// Lets so many writes pass before the fault shows.
    static void setAfter(int writes, DiskFault fault);
};

} // namespace support

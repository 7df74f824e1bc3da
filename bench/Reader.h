#pragma once

/// One way to read APP_Client, on a connection that stays open and warm. Failures are exceptions.
class Reader {
  public:
    virtual ~Reader() = default;

    /// Before the reads of a measurement, which lie in one read-only transaction if it is asked for.
    virtual void begin(bool transaction) = 0;
    /// After them: what the reader would keep until its next read must not hinder or spare the others.
    virtual void end() = 0;

    /// Reads one client. The id in the row that was read, 0 when there is none.
    virtual int readOne(int id) = 0;
    /// Reads all clients by id. How many they were.
    virtual int readAll() = 0;
};

#pragma once

#include <benchmark/benchmark.h>

#include "Columns.h"
#include "Db/Tbl/APP_Client.h"
#include "Reader.h"

/// APP_Client read as one would write it by hand for this one table, into the accessor's own struct.
template <class Raw> class RawReader : public Reader {
  public:
    explicit RawReader(const std::string& url)
        : raw_(url), one_(raw_.prepare(selectFrom<APP_Client_t2>("WHERE id=" + Raw::parameter(1)))),
          all_(raw_.prepare(selectFrom<APP_Client_t2>("ORDER BY id"))) {}

    void begin(bool transaction) override {
        if (transaction)
            raw_.execute(Raw::kBegin);
    }
    void end() override {
        if (raw_.inTransaction())
            raw_.execute("COMMIT");
    }
    int readOne(int id) override {
        BufferRow<APP_Client_t2> row{}; // empty for each read, as an accessor's is
        one_.execute(id);
        if (one_.next())
            fill(one_, row);
        one_.close();
        benchmark::DoNotOptimize(row);
        return row.buffer.id;
    }
    int readAll() override {
        BufferRow<APP_Client_t2> row{};
        int count = 0;
        for (all_.execute(); all_.next(); ++count) {
            fill(all_, row);
            benchmark::DoNotOptimize(row);
        }
        all_.close();
        return count;
    }

  private:
    Raw raw_;
    typename Raw::Statement one_;
    typename Raw::Statement all_;
};

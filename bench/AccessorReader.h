#pragma once

#include <stdexcept>

#include "Db/Tbl/APP_Client.h"
#include "Reader.h"
#include "db/DBtran.h"

/// APP_Client read through its accessor, in the process's hub database.
class AccessorReader : public Reader {
  public:
    enum class Mode { kOlder, kNewer };

    explicit AccessorReader(Mode mode) : newer_(mode == Mode::kNewer) {}

    void begin(bool transaction) override {
        DBtable::b_newDBBase = newer_;
        if (transaction && transaction_.startTran() != 0)
            throw std::runtime_error(transaction_.errorWords());
    }
    void end() override {
        DBtable::b_newDBBase = false;
        if (transaction_.isOpen() && transaction_.commitTran() != 0)
            throw std::runtime_error(transaction_.errorWords());
    }
    int readOne(int id) override {
        APP_Client client(transaction_.isOpen() ? &transaction_ : nullptr);
        client.setIsolationType(4);
        client.setWhere("id=%d", id);
        return checked(client, getOneRow(&client, false, -1, 0)) ? client.getDataPtr()->id : 0;
    }
    int readAll() override {
        return eachRow([](const APP_Client_t&) {});
    }

    /// Reads all clients by id, and calls `use` with each. How many they were.
    template <class Use> int eachRow(Use use) {
        APP_Client clients(nullptr);
        clients.setIsolationType(4);
        int count = 0;
        int started = 0;
        while (checked(clients, getNextRow(&clients, &started, -1, 0))) {
            use(*clients.getDataPtr());
            ++count;
        }
        return count;
    }

  private:
    /// Whether a read found a row.
    static bool checked(const DBtable& table, int status) {
        if (status < 0)
            throw std::runtime_error(table.getErrorStr(status));
        return status == 0;
    }

    bool newer_;
    DBtran transaction_{true};
};

#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "Reader.h"

struct Contender {
    const char* name; ///< "raw" is what the others' ratios are to
    Reader& reader;
    bool readsAll = true;
};

/// What reading rows costs through the accessors, against other ways to the same rows.
///
/// Each kind of read is measured in rounds, in which the contenders run one after the other, so that what else the
/// machine does hits all alike.
class Comparison {
  public:
    struct Options {
        int clients = 100'000; ///< of a generated estate
        int rounds = 45;       ///< of each kind of read; the slowest has a fifth of them
        std::string database;  ///< an existing one; empty: a generated one
    };

    explicit Comparison(const Options& options) : options_(options) {}
    ~Comparison();
    Comparison(const Comparison&) = delete;
    Comparison& operator=(const Comparison&) = delete;

    const Options& options() const { return options_; }
    /// Connects the library to a hub database. Throws std::runtime_error when it cannot, or there are no clients.
    void connect(const std::string& url);
    /// Measures every kind of read and prints a table for each. `library` names the row of those that only the library
    /// does.
    void run(const std::vector<Contender>& contenders, const char* library = "library");
    /// That something was measured, and no read failed.
    bool succeeded() const { return measured_ && !failed_; }

  private:
    Options options_;
    bool onServer_ = false;
    std::vector<int> ids_; ///< of all clients, in an order that is random and the same in every run
    bool measured_ = false;
    bool failed_ = false;
};

/// main() of a program that compares. `databaseOption` names an existing database on the command line, with the equals
/// sign.
int comparisonMain(std::span<char*> arguments, const std::string& databaseOption,
                   const std::function<void(Comparison&)>& compare);

#pragma once

#include <string>
#include <vector>

#include "Reader.h"
#include "Rounds.h"

struct Contender {
    const char* name; ///< "raw" is what the others' ratios are to
    Reader& reader;
    bool readsAll = true;
};

/// What reading rows costs through the accessors, against other ways to the same rows.
class Comparison {
  public:
    explicit Comparison(Rounds& rounds) : rounds_(rounds) {}
    ~Comparison();
    Comparison(const Comparison&) = delete;
    Comparison& operator=(const Comparison&) = delete;

    /// Connects the library to a hub database. Throws std::runtime_error when it cannot, or there are no clients.
    void connect(const std::string& url);
    /// Measures every kind of read and prints a table for each. `library` names the row of those that only the library
    /// does.
    void run(const std::vector<Contender>& contenders, const char* library = "library");

  private:
    Rounds& rounds_;
    bool onServer_ = false;
    std::vector<int> ids_; ///< of all clients, in an order that is random and the same in every run
};

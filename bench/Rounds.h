#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <initializer_list>
#include <map>
#include <span>
#include <string>
#include <vector>

/// Measures contenders in rounds, in which they run one after the other, so that what else the machine does hits all
/// alike, and prints a table for each comparison.
class Rounds {
  public:
    explicit Rounds(int rounds) : rounds_(rounds) {}

    struct Entry {
        std::string name;
        std::function<void(benchmark::State&)> measure;
        bool threads = false; ///< it has threads of its own: CPU time is the process's
    };
    /// The ratios are to the contender that `baseline` names. Of a slow comparison there are fewer rounds, one for as
    /// many as `share` says. Nothing is printed when the caller's filter leaves no contender.
    void compare(const std::string& title, const std::string& group, const std::vector<Entry>& contenders,
                 int share = 1, const std::string& baseline = "raw");

    /// Something else was measured.
    void noteDone() { measured_ = true; }
    /// That something was measured, and nothing failed.
    bool succeeded() const { return measured_ && !failed_; }

  private:
    int rounds_;
    bool measured_ = false;
    bool failed_ = false;
};

/// What the command line of a benchmark asks for.
struct BenchOptions {
    int clients = 100'000;                     ///< of a generated estate
    int rounds = 45;                           ///< of each comparison; the slower have fewer
    std::map<std::string, std::string> others; ///< by their names, those that were given

    bool has(const std::string& name) const { return others.contains(name); }
    /// Empty when it was not given.
    std::string value(const std::string& name) const { return has(name) ? others.at(name) : ""; }
};

/// main() of a benchmark. `others` are options besides those that all have: "--name=" takes a value, "--name" does not.
int benchMain(std::span<char*> arguments, std::initializer_list<std::string> others,
              const std::function<void(const BenchOptions&, Rounds&)>& run);

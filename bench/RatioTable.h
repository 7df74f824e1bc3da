#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <iosfwd>
#include <map>
#include <string>
#include <vector>

/// Collects rounds in which the same contenders run one after the other, and prints medians over the rounds.
///
/// A ratio is the median of a contender's ratios to the baseline's within each round: what slows the machine down for
/// longer than a round hits both. The rows are the benchmarks that ran, named "group/contender", in the order of their
/// registration; of the counters there are columns for those that any of them has.
class RatioTable : public benchmark::BenchmarkReporter {
  public:
    RatioTable(std::string title, std::string baseline) : title_(std::move(title)), baseline_(std::move(baseline)) {}

    bool ReportContext(const Context& context) override;
    void ReportRuns(const std::vector<Run>& runs) override;

    void print(std::ostream& out) const;
    /// True when a benchmark reported an error.
    bool failed() const { return failed_; }

  private:
    struct Contender {
        std::string name;
        std::vector<double> wall; ///< ns per operation, by round
        std::vector<double> cpu;
        benchmark::UserCounters counters;
    };

    std::string title_;
    std::string baseline_;                         ///< the name of a contender
    std::map<std::int64_t, Contender> contenders_; ///< by their place in the registration
    bool failed_ = false;
};

#include "RatioTable.h"

#include <algorithm>
#include <array>
#include <functional>
#include <iomanip>
#include <ostream>
#include <sstream>

namespace {

constexpr std::array kCounters{"executed", "prepared",    "rows",    "written",  "round trips", "live MB",
                               "peak MB",  "allocations", "wait ms", "99.9% ms", "slowest ms"};
constexpr int kNameWidth = 40;
constexpr int kWidth = 12;

/// The value below which `share` of them lie.
double quantile(std::vector<double> values, double share) {
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1) + 0.5)];
}

double median(const std::vector<double>& values) {
    return quantile(values, 0.5);
}

std::string fixed(double value, int digits) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(digits) << value;
    return text.str();
}

/// A count, which may be a small one per row.
std::string count(double value) {
    constexpr double kSmall = 0.1;
    return fixed(value, value > 0 && value < kSmall ? 5 : 2);
}

std::vector<double> ratios(const std::vector<double>& values, const std::vector<double>& to) {
    std::vector<double> each(std::min(values.size(), to.size()));
    std::transform(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(each.size()), to.begin(), each.begin(),
                   std::divides<>());
    return each;
}

} // namespace

bool RatioTable::ReportContext(const Context& /*context*/) {
    return true;
}

void RatioTable::ReportRuns(const std::vector<Run>& runs) {
    for (const Run& run : runs) {
        if (run.error_occurred) {
            GetErrorStream() << run.benchmark_name() << ": " << run.error_message << '\n';
            failed_ = true;
        } else if (run.run_type == Run::RT_Iteration) {
            Contender& contender = contenders_[run.family_index];
            const std::string& name = run.run_name.function_name;
            contender.name = name.substr(name.find('/') + 1);
            contender.wall.push_back(run.GetAdjustedRealTime());
            contender.cpu.push_back(run.GetAdjustedCPUTime());
            contender.counters = run.counters;
        }
    }
}

void RatioTable::print(std::ostream& out) const {
    std::vector<const char*> counters;
    for (const char* counter : kCounters)
        if (std::ranges::any_of(contenders_, [counter](const auto& e) { return e.second.counters.contains(counter); }))
            counters.push_back(counter);
    const auto cell = [&out](const std::string& text) { out << std::setw(kWidth) << text; };
    out << '\n' << std::left << std::setw(kNameWidth) << title_ << std::right;
    for (const char* title : {"wall ns", "CPU ns", "wall ratio", "middle half", "CPU ratio"})
        cell(title);
    for (const char* counter : counters)
        cell(counter);
    out << '\n';

    const auto baseline = std::find_if(contenders_.begin(), contenders_.end(),
                                       [this](const auto& entry) { return entry.second.name == baseline_; });
    for (const auto& [index, contender] : contenders_) {
        out << "  " << std::left << std::setw(kNameWidth - 2) << contender.name << std::right;
        cell(fixed(median(contender.wall), 0));
        cell(fixed(median(contender.cpu), 0));
        if (baseline == contenders_.end()) {
            for (int i = 0; i < 3; ++i)
                cell("-");
        } else {
            const auto wall = ratios(contender.wall, baseline->second.wall);
            cell(fixed(median(wall), 3));
            cell(fixed(quantile(wall, 0.25), 2) + "-" + fixed(quantile(wall, 0.75), 2));
            cell(fixed(median(ratios(contender.cpu, baseline->second.cpu)), 3));
        }
        for (const char* counter : counters) {
            const auto found = contender.counters.find(counter);
            cell(found == contender.counters.end() ? "-" : count(found->second.value));
        }
        out << '\n';
    }
    out << std::flush;
}

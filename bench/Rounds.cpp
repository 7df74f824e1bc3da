#include "Rounds.h"

#include <algorithm>
#include <charconv>
#include <exception>
#include <iostream>
#include <string_view>

#include "RatioTable.h"

namespace {

bool parse(std::string_view argument, std::span<const std::string> others, BenchOptions& options) {
    const auto number = [argument](std::string_view name, int& out) {
        const char* const end = argument.data() + argument.size();
        return argument.starts_with(name) && std::from_chars(argument.data() + name.size(), end, out).ptr == end &&
               out > 0;
    };
    if (number("--clients=", options.clients) || number("--rounds=", options.rounds))
        return true;
    const auto other = std::ranges::find_if(others, [argument](const std::string& name) {
        return name.ends_with('=') ? argument.starts_with(name) : argument == name;
    });
    if (other != others.end())
        options.others[*other] = argument.substr(other->size());
    return other != others.end();
}

} // namespace

void Rounds::compare(const std::string& title, const std::string& group, const std::vector<Entry>& contenders,
                     int share, const std::string& baseline) {
    // One comparison after the other: another's rows would push this one's out of the library's cache.
    benchmark::ClearRegisteredBenchmarks();
    for (const auto& [name, measure, threads] : contenders) {
        auto* const registered = benchmark::RegisterBenchmark((group + "/" + name).c_str(), measure);
        if (threads)
            registered->MeasureProcessCPUTime();
    }
    RatioTable table(title, baseline);
    for (int round = 0; round < (rounds_ + share - 1) / share && !table.failed(); ++round)
        if (benchmark::RunSpecifiedBenchmarks(&table) == 0)
            return;
    table.print(std::cout);
    measured_ = true;
    failed_ = failed_ || table.failed();
}

int benchMain(std::span<char*> arguments, std::initializer_list<std::string> others,
              const std::function<void(const BenchOptions&, Rounds&)>& run) {
    // A round is to be over before the machine's load changes. What the caller says comes later and counts.
    std::string minTime = "--benchmark_min_time=0.03";
    std::vector<char*> all{arguments[0], minTime.data()};
    all.insert(all.end(), arguments.begin() + 1, arguments.end());
    int count = static_cast<int>(all.size());
    all.push_back(nullptr);
    benchmark::Initialize(&count, all.data());
    BenchOptions options;
    for (const char* argument : std::span(all).subspan(1, static_cast<std::size_t>(count) - 1))
        if (!parse(argument, others, options)) {
            std::cerr << "usage: " << arguments[0] << " [--clients=N] [--rounds=N]";
            for (const auto& name : others)
                std::cerr << " [" << name << (name.ends_with('=') ? "...]" : "]");
            std::cerr << " [--benchmark_...]\n";
            return 2;
        }
    try {
        Rounds rounds(options.rounds);
        run(options, rounds);
        return rounds.succeeded() ? 0 : 1;
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << '\n';
        return 1;
    }
}

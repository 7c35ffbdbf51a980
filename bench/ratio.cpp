// bench/ratio.cpp
#include "bench/ratio.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <fmt/format.h>

namespace {

using Samples = std::map<std::string, std::vector<double>>; /* nanoseconds a round, by name */

/* Keeps the processor time of every repetition; prints nothing. */
class Collector : public benchmark::BenchmarkReporter {
public:
    explicit Collector(Samples &to) : samples(to) {}
    bool ReportContext(const Context &) override { return true; }
    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &run : runs) {
            if (run.run_type != Run::RT_Iteration || run.error_occurred)
                continue;
            const double rounds = static_cast<double>(std::max<int64_t>(run.iterations, 1));
            samples[run.run_name.function_name].push_back(run.cpu_accumulated_time * 1e9 / rounds);
        }
    }

private:
    Samples &samples;
};

/* How often both sides run. ORVANE_BENCH_ROUNDS sets another number: with 1, a test sees that the program works. */
int Rounds() {
    const char *text = getenv("ORVANE_BENCH_ROUNDS");
    return text != nullptr ? std::max(atoi(text), 1) : 15;
}

double Median(std::vector<double> values) {
    std::ranges::sort(values);
    const size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

std::string Duration(double ns) {
    if (ns >= 1e6)
        return fmt::format("{:.2f} ms", ns / 1e6);
    return ns >= 1e3 ? fmt::format("{:.2f} us", ns / 1e3) : fmt::format("{:.1f} ns", ns);
}

bool RatioPrint(const RatioRow &row, const Samples &samples) {
    const auto ours = samples.find(std::string(row.name) + "/ours");
    const auto peer = samples.find(std::string(row.name) + "/peer");
    if (ours == samples.end() || peer == samples.end()) {
        fmt::print("{:<14} no measurements\n", row.name);
        return false;
    }
    std::vector<double> ratios;
    for (size_t i = 0; i < std::min(ours->second.size(), peer->second.size()); i++)
        ratios.push_back(ours->second[i] / peer->second[i]);
    const double ratio = Median(ratios);
    fmt::print("{:<14} {:<58} ours {:>10}   peer {:>10}   {:.2f}   wanted {:.2f}   {}\n", row.name,
               row.what, Duration(Median(ours->second)), Duration(Median(peer->second)), ratio,
               row.wanted, ratio <= row.wanted ? "ok" : "ABOVE");
    return true;
}

} // namespace

int Ratio_Main(int argc, char **argv, std::span<const RatioRow> rows) {
    // what the command line says comes after the defaults and wins
    std::vector<std::string> words = {argv[0], "--benchmark_min_time=0.05"};
    words.insert(words.end(), argv + 1, argv + argc);
    std::vector<char *> pointers;
    pointers.reserve(words.size());
    for (std::string &word : words)
        pointers.push_back(word.data());
    int count = static_cast<int>(pointers.size());
    benchmark::Initialize(&count, pointers.data());
    if (benchmark::ReportUnrecognizedArguments(count, pointers.data()))
        return 2;

    Samples samples;
    Collector collector(samples);
    for (int round = Rounds(); round > 0; round--)
        benchmark::RunSpecifiedBenchmarks(
            &collector); // in order, so that the two of a row are neighbours

    bool complete = true;
    for (const RatioRow &row : rows)
        complete = RatioPrint(row, samples) && complete;
    return complete ? 0 : 1;
}

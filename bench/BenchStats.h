// Small helpers shared by the benchmarks: order statistics over samples and one verdict line per
// target. A verdict line reads "target met" or "target MISSED", and scripts/bench collects the
// "summary:" lines into its table.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <numeric>
#include <vector>

namespace hvx::bench {

using SteadyClock = std::chrono::steady_clock;

inline double microsecondsBetween(SteadyClock::time_point start, SteadyClock::time_point end) {
    return std::chrono::duration<double, std::micro>(end - start).count();
}

// The value below which `share` (0..1) of the samples lie; the median at 0.5.
inline double percentile(std::vector<double> samples, double share) {
    if (samples.empty()) {
        return 0.0;
    }
    const auto rank = static_cast<std::size_t>(share * static_cast<double>(samples.size() - 1));
    const auto at = samples.begin() + static_cast<std::ptrdiff_t>(rank);
    std::nth_element(samples.begin(), at, samples.end());
    return *at;
}

inline double median(const std::vector<double>& samples) {
    return percentile(samples, 0.5);
}

inline double mean(const std::vector<double>& samples) {
    if (samples.empty()) {
        return 0.0;
    }
    return std::accumulate(samples.begin(), samples.end(), 0.0) /
           static_cast<double>(samples.size());
}

inline double maximum(const std::vector<double>& samples) {
    return samples.empty() ? 0.0 : *std::max_element(samples.begin(), samples.end());
}

// Prints the verdict and the summary line for one figure against an upper bound; answers
// whether the figure is within it.
inline bool verdict(const char* benchmark, const char* what, double figure, double target,
                    const char* unit) {
    const bool met = figure <= target;
    std::printf("%s: %.2f %s, target <= %.0f %s: target %s\n", what, figure, unit, target, unit,
                met ? "met" : "MISSED");
    std::printf("summary: %s | %s | %.2f %s | <= %.0f %s | %s\n", benchmark, what, figure, unit,
                target, unit, met ? "met" : "MISSED");
    std::fflush(stdout);
    return met;
}

}  // namespace hvx::bench

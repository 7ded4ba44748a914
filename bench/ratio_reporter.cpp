#include "ratio_reporter.h"

#include <algorithm>

#include "workload.h"

namespace cali::bench {

bool RatioReporter::ReportContext(const Context& /*context*/) { return true; }

void RatioReporter::ReportRuns(const std::vector<Run>& runs) {
    for (const Run& run : runs) {
        if (run.run_type != Run::RT_Iteration || run.error_occurred) {
            continue;
        }
        const std::string name = run.run_name.function_name;
        const double seconds = run.real_accumulated_time / static_cast<double>(run.iterations);
        const auto [at, is_new] = fastest_.emplace(name, seconds);
        if (is_new) {
            order_.push_back(name);
        }
        at->second = std::min(at->second, seconds);
    }
}

void RatioReporter::Finalize() {
    const auto copy = fastest_.find(kCopyName);
    if (copy == fastest_.end()) {
        std::fprintf(table_, "no ratios: \"%s\" was filtered out\n", kCopyName);
        return;
    }
    // The copy of the series does not depend on the instruction set; the faster of its measurements counts.
    double series_copy = 0;
    for (const auto& [name, seconds] : fastest_) {
        if (name.starts_with(kSeriesCopyName)) {
            series_copy = series_copy == 0 ? seconds : std::min(series_copy, seconds);
        }
    }
    std::sort(order_.begin(), order_.end());
    std::fprintf(table_, "| measurement, %d x %d | ms | ratio to memcpy | at most |\n|---|---:|---:|---:|\n", kWidth,
                 kHeight);
    for (const std::string& name : order_) {
        const double seconds = fastest_[name];
        const double reference = name.starts_with("series: ") ? series_copy : copy->second;
        std::fprintf(table_, "| %s | %.2f | %.2f | ", name.c_str(), seconds * 1e3, seconds / reference);
        const double limit = limit_of(name);
        if (limit > 0) {
            std::fprintf(table_, "%.1f |\n", limit);
        } else {
            std::fprintf(table_, "|\n");
        }
    }
}

}  // namespace cali::bench

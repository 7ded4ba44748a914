/// Prints the fastest repetition of each measurement as a ratio to that of the copy.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace cali::bench {

class RatioReporter : public benchmark::BenchmarkReporter {
public:
    explicit RatioReporter(std::FILE* table) : table_(table) {}

    bool ReportContext(const Context& context) override;
    void ReportRuns(const std::vector<Run>& runs) override;
    void Finalize() override;

private:
    std::FILE* table_;
    std::vector<std::string> order_;
    std::map<std::string, double> fastest_;  ///< seconds
};

}  // namespace cali::bench

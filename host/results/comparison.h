/// Two results side by side.
#pragma once

#include <string>
#include <vector>

#include "checks/check.h"
#include "results/results.h"

namespace cali::host {

/// A figure of both, or of a table the largest and the root mean square of the differences.
struct Difference {
    std::string section;
    std::string entry;  ///< light or capture
    std::string figure;
    double golden = 0;  ///< not a number for tables
    double found = 0;
    double difference = 0;  ///< as judged: absolute, or percent of the golden one
    std::string unit;
    Severity severity = Severity::pass;
};

struct Comparison {
    std::vector<Difference> differences;
    std::vector<Finding> findings;
};

/// Sections by light (or capture), figures by name. What stands in one of the two only is a failure.
[[nodiscard]] Comparison compare(const Results& golden, const Results& found, const Limits& limits);

}  // namespace cali::host

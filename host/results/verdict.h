/// What the findings of a results file come to.
#pragma once

#include <string>
#include <vector>

#include "results/results.h"

namespace cali::host {

/// One calibration, all its captures together.
struct CalibrationVerdict {
    std::string calibration;  ///< key of its section
    bool done = false;
    Severity severity = Severity::pass;
    Finding deciding;  ///< the worst, or of passes the one nearest to its limit; without a code where there is none
};

/// "pass", "warn", "fail" or "not done".
[[nodiscard]] const char* state_name(const CalibrationVerdict& verdict);

/// In the order of the file; those that were not done too.
[[nodiscard]] std::vector<CalibrationVerdict> verdicts(const Results& results);

/// Sections that were made with values that have changed since.
[[nodiscard]] std::vector<Finding> stale_sections(const Results& results);

}  // namespace cali::host

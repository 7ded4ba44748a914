/// Results as sections, for whoever shows them.
#pragma once

#include <string>
#include <vector>

#include "base/section.h"
#include "results/results.h"

namespace cali::host {

struct DescribedSection {
    std::string key;    ///< in the results file: "black_level"
    std::string entry;  ///< light or capture, where there are several
    Section section;
};

/// Everything that was calibrated, in the file's order; grey cards are one section. With the truth of a simulated
/// sensor and the limits in force.
[[nodiscard]] std::vector<DescribedSection> describe_all(const Results& results);

}  // namespace cali::host

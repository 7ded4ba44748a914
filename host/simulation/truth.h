/// What a simulated session's results should be.
#pragma once

#include <string>

#include "simulation/shots.h"

namespace cali::host {

/// The text of truth.json; docs/simulation.md describes it.
[[nodiscard]] std::string truth_text(const SimulationPlan& plan);

}  // namespace cali::host

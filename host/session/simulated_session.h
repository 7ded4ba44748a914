/// The session file of simulated captures.
#pragma once

#include <string>

#include "simulation/shots.h"

namespace cali::host {

[[nodiscard]] std::string session_text(const SimulationPlan& plan, const ShotNames& names);

}  // namespace cali::host

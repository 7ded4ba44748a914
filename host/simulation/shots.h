/// The captures that a session of a simulated sensor consists of.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "simulation/faults.h"
#include "simulation/sensor.h"

namespace cali::host {

struct SimulationPlan {
    SensorModel sensor;
    std::vector<double> illuminants = {2850, 4000, 5000, 6500};  ///< kelvin
    int dark_frames = 3;
    int series_levels = 8;
    int series_frames = 2;
    uint64_t seed = 1;
    std::vector<Fault> faults;
    bool raw = true;  ///< which files are written
    bool pgm = true;
};

/// White of the chart over full scale.
inline constexpr double kSimulatedChartLevel = 0.90;

/// File names as a session file beside them names them.
struct ShotNames {
    using Lit = std::pair<std::string, double>;  ///< name and light in kelvin
    std::vector<std::string> dark;
    std::vector<Lit> flat;
    std::vector<Lit> grey;
    std::vector<Lit> chart;
    std::vector<std::vector<std::string>> series;

    [[nodiscard]] std::size_t count() const;
};

/// Goes through all captures without exposing any.
ShotNames plan_shots(const SimulationPlan& plan, const std::function<void(const Shot&)>& on_shot);

/// Names of the files that take_shots writes, in its order.
[[nodiscard]] std::vector<std::string> shot_files(const SimulationPlan& plan);

/// Writes the files. Throws InputError.
[[nodiscard]] ShotNames take_shots(const SimulationPlan& plan, const std::filesystem::path& folder);

}  // namespace cali::host

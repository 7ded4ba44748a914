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

/// Forms of the files; mipi: packed headerless raw.
enum class ShotForm { raw, pgm, tiff, png, dng, mipi };

/// How files are called: dark_1, flat_5000K, series_1_1; with size, depth and pattern where the form does not tell
/// them, noise_1_1; or as tuning tools expect them: alsc_5000k_1, chart_5000k_120l, noise_1_1, and no grey cards.
enum class ShotNaming { plain, geometry, tuning };

struct SimulationPlan {
    SensorModel sensor;
    std::vector<double> illuminants = {2850, 4000, 5000, 6500};  ///< kelvin
    int dark_frames = 3;
    int series_levels = 8;
    int series_frames = 2;
    uint64_t seed = 1;
    std::vector<Fault> faults;
    std::vector<ShotForm> forms = {ShotForm::raw, ShotForm::pgm};  ///< the session names files of the first
    ShotNaming naming = ShotNaming::plain;
};

/// Throws InputError where a form cannot hold samples of the plan's depth.
void check_forms(const SimulationPlan& plan);

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

/// The captures that a session of a simulated sensor consists of.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "simulation/faults.h"
#include "simulation/sensor.h"

namespace cali::host {

/// Forms of the files; mipi: packed headerless raw.
enum class ShotForm { raw, pgm, tiff, png, dng, mipi };

/// How files are called: dark_1, flat_5000K, series_1_1; with size, depth and pattern where the form does not tell
/// them, noise_1_1; or as tuning tools expect them: alsc_5000k_1, chart_5000k_120l, noise_1_1, and no grey cards. Of
/// several gains the first two are called dark_g4_1, flat_5000K_g4, series_1_g4_1; the third counts on.
enum class ShotNaming { plain, geometry, tuning };

inline constexpr double kLeastSimulatedGain = 0.1;
inline constexpr double kMostSimulatedGain = 64;
inline constexpr int kMostSimulatedGains = 16;
inline constexpr int kMostSimulatedBurst = 99;

struct SimulationPlan {
    SensorModel sensor;                                          ///< at gain 1
    std::vector<double> gains = {1};                             ///< analogue, rising
    bool all_at_every_gain = false;                              ///< else dark frames and series only
    int burst = 1;                                               ///< frames of a flat field, grey card or chart
    std::optional<ChartView> chart_view;                         ///< none: the chart fills the frame
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

/// Rising. Throws InputError for gains that are too many, equal, or no whole ISO speeds, which are what files tell.
[[nodiscard]] std::vector<double> checked_gains(std::vector<double> gains, const std::string& where);

/// White of the chart over full scale.
inline constexpr double kSimulatedChartLevel = 0.90;

/// File names as a session file beside them names them.
struct ShotNames {
    struct Entry {
        std::vector<std::string> files = {};
        double illuminant_k = 0;  ///< 0: not stated
        double gain = 1;
    };
    std::vector<Entry> dark;
    std::vector<Entry> flat;
    std::vector<Entry> grey;
    std::vector<Entry> chart;
    std::vector<Entry> series;

    [[nodiscard]] std::size_t count() const;
};

/// Goes through all captures without exposing any.
ShotNames plan_shots(const SimulationPlan& plan, const std::function<void(const Shot&)>& on_shot);

/// Names of the files that take_shots writes, in its order.
[[nodiscard]] std::vector<std::string> shot_files(const SimulationPlan& plan);

/// Writes the files. Throws InputError.
[[nodiscard]] ShotNames take_shots(const SimulationPlan& plan, const std::filesystem::path& folder);

}  // namespace cali::host

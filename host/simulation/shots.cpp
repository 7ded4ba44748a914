#include "simulation/shots.h"

#include <cmath>

#include "base/text.h"
#include "captures/pgm_file.h"
#include "captures/raw_file.h"

namespace cali::host {
namespace {

constexpr double kFlatLevel = 0.70;
constexpr double kGreyLevel = 0.50;
constexpr double kDarkestSeriesLevel = 0.05;
constexpr double kBrightestSeriesLevel = 0.85;
constexpr double kSeriesIlluminantK = 5000;

/// Random streams of the kinds of captures: a longer series leaves the other captures as they are.
enum Stream : uint32_t {
    kDarkStream = 0,
    kFlatStream = 1000,
    kGreyStream = 2000,
    kChartStream = 3000,
    kSeriesStream = 10000
};

}  // namespace

ShotNames plan_shots(const SimulationPlan& plan, const std::function<void(const Shot&)>& on_shot) {
    const SensorModel& sensor = plan.sensor;
    const auto shoot = [&](const std::string& stem, Shot shot, uint32_t stream) {
        shot.stem = stem;
        shot.sensor = sensor;
        shot.stream = stream;
        on_shot(shot);
        return stem + (plan.raw ? ".raw" : ".pgm");
    };
    const auto lit = [](ShotKind kind, double kelvin, double level, Scene scene, int frame = 0) {
        return Shot{"", kind, kelvin, level, frame, {}, std::move(scene), 0};
    };
    ShotNames names;
    for (int i = 0; i < plan.dark_frames; ++i) {
        names.dark.push_back(shoot(text("dark_%d", i + 1), lit(ShotKind::dark, 0, 0, dark_scene(), i),
                                   kDarkStream + static_cast<uint32_t>(i)));
    }
    for (std::size_t i = 0; i < plan.illuminants.size(); ++i) {
        const double kelvin = plan.illuminants[i];
        const std::string light = text("_%ldK", std::lround(kelvin));
        const auto n = static_cast<uint32_t>(i);
        const auto uniform = [&](ShotKind kind, double level) {
            return lit(kind, kelvin, level, uniform_scene(sensor, kelvin, level));
        };
        names.flat.emplace_back(shoot("flat" + light, uniform(ShotKind::flat, kFlatLevel), kFlatStream + n), kelvin);
        names.grey.emplace_back(shoot("grey" + light, uniform(ShotKind::grey, kGreyLevel), kGreyStream + n), kelvin);
        names.chart.emplace_back(
            shoot("chart" + light,
                  lit(ShotKind::chart, kelvin, kSimulatedChartLevel, chart_scene(sensor, kelvin, kSimulatedChartLevel)),
                  kChartStream + n),
            kelvin);
    }
    for (int level = 0; level < plan.series_levels; ++level) {
        const double share = plan.series_levels == 1 ? 1.0 : static_cast<double>(level) / (plan.series_levels - 1);
        const double brightness = kDarkestSeriesLevel + share * (kBrightestSeriesLevel - kDarkestSeriesLevel);
        Scene scene = uniform_scene(sensor, kSeriesIlluminantK, brightness);
        scene.shaded = false;
        std::vector<std::string>& files = names.series.emplace_back();
        for (int i = 0; i < plan.series_frames; ++i) {
            const auto stream = static_cast<uint32_t>(level) * 1000U + static_cast<uint32_t>(i);
            files.push_back(shoot(text("series_%d_%d", level + 1, i + 1),
                                  lit(ShotKind::series, kSeriesIlluminantK, brightness, scene, i),
                                  kSeriesStream + stream));
        }
    }
    return names;
}

std::size_t ShotNames::count() const {
    std::size_t total = dark.size() + flat.size() + grey.size() + chart.size();
    for (const std::vector<std::string>& level : series) {
        total += level.size();
    }
    return total;
}

std::vector<std::string> shot_files(const SimulationPlan& plan) {
    std::vector<std::string> files;
    (void)plan_shots(plan, [&](const Shot& shot) {
        if (plan.raw) {
            files.push_back(shot.stem + ".raw");
        }
        if (plan.pgm) {
            files.push_back(shot.stem + ".pgm");
        }
    });
    return files;
}

ShotNames take_shots(const SimulationPlan& plan, const std::filesystem::path& folder) {
    const SensorModel& sensor = plan.sensor;
    return plan_shots(plan, [&](const Shot& shot) {
        const std::vector<uint16_t> samples = take(shot, plan.faults, plan.seed);
        if (plan.raw) {
            write_raw(folder / (shot.stem + ".raw"), samples);
        }
        if (plan.pgm) {
            write_pgm(folder / (shot.stem + ".pgm"), sensor.width, sensor.height, sensor.bits, samples);
        }
    });
}

}  // namespace cali::host

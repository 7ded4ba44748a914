#include "simulation/shots.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "base/error.h"
#include "base/text.h"
#include "captures/dng_file.h"
#include "captures/packed_samples.h"
#include "captures/pgm_file.h"
#include "captures/png_file.h"
#include "captures/raw_file.h"
#include "captures/tiff_file.h"

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

std::string file_name(const SimulationPlan& plan, const std::string& stem, ShotForm form) {
    const SensorModel& sensor = plan.sensor;
    const bool headerless = form == ShotForm::raw || form == ShotForm::mipi;
    const std::string geometry =
        headerless && plan.naming == ShotNaming::geometry
            ? text("_%dx%d_%dbits_%s", sensor.width, sensor.height, sensor.bits, pattern_name(sensor.pattern))
            : "";
    constexpr std::array kSuffixes = {".raw", ".pgm", ".tif", ".png", ".dng", ".raw"};
    return stem + geometry + kSuffixes[static_cast<std::size_t>(form)];
}

DngContent dng_content(const Shot& shot) {
    const SensorModel& sensor = shot.sensor;
    DngContent content;
    content.width = sensor.width;
    content.height = sensor.height;
    content.bits = sensor.bits;
    content.pattern = sensor.pattern;
    content.active = {0, 0, static_cast<uint32_t>(sensor.height), static_cast<uint32_t>(sensor.width)};
    for (uint32_t i = 0; i < content.black.size(); ++i) {
        const double pedestal = sensor.pedestal[index_of(bayer_channel(sensor.pattern, i / 2, i % 2))];
        content.black[i] = std::ldexp(pedestal, sensor.bits - kLibraryBits);
    }
    if (shot.illuminant_k > 0) {
        const Vector3 white = camera_white(sensor, shot.illuminant_k);
        content.neutral = {white[0] / white[1], 1.0, white[2] / white[1]};
    }
    return content;
}

void write_shot(const std::filesystem::path& file, const Shot& shot, ShotForm form, std::span<const uint16_t> samples) {
    const SensorModel& sensor = shot.sensor;
    switch (form) {
        case ShotForm::raw: return write_raw(file, samples);
        case ShotForm::pgm: return write_pgm(file, sensor.width, sensor.height, sensor.bits, samples);
        case ShotForm::tiff: return write_tiff(file, sensor.width, sensor.height, sensor.bits, samples);
        case ShotForm::png: return write_png(file, sensor.width, sensor.height, sensor.bits, samples);
        case ShotForm::dng: return write_dng(file, dng_content(shot), samples);
        case ShotForm::mipi: return write_packed(file, sensor.width, packing_of(sensor.bits), samples);
    }
}

}  // namespace

void check_forms(const SimulationPlan& plan) {
    const bool packed = std::ranges::find(plan.forms, ShotForm::mipi) != plan.forms.end();
    if (packed && packing_of(plan.sensor.bits) == Packing::none) {
        throw InputError(
            text("--format mipi: no packing holds %d bits, expected --bits 10, 12 or 14", plan.sensor.bits));
    }
}

ShotNames plan_shots(const SimulationPlan& plan, const std::function<void(const Shot&)>& on_shot) {
    const SensorModel& sensor = plan.sensor;
    const auto shoot = [&](const std::string& stem, Shot shot, uint32_t stream) {
        shot.stem = stem;
        shot.sensor = sensor;
        shot.stream = stream;
        on_shot(shot);
        return file_name(plan, stem, plan.forms.front());
    };
    const auto lit = [](ShotKind kind, double kelvin, double level, Scene scene, int frame = 0) {
        return Shot{"", kind, kelvin, level, frame, {}, std::move(scene), 0};
    };
    const bool tuning = plan.naming == ShotNaming::tuning;
    const bool plain = plan.naming == ShotNaming::plain;
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
        const std::string tuning_light = text("_%ldk", std::lround(kelvin));
        names.flat.emplace_back(shoot(tuning ? "alsc" + tuning_light + "_1" : "flat" + light,
                                      uniform(ShotKind::flat, kFlatLevel), kFlatStream + n),
                                kelvin);
        if (!tuning) {
            names.grey.emplace_back(shoot("grey" + light, uniform(ShotKind::grey, kGreyLevel), kGreyStream + n),
                                    kelvin);
        }
        names.chart.emplace_back(
            shoot("chart" + (tuning ? tuning_light + "_120l" : light),
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
            files.push_back(shoot(text(plain ? "series_%d_%d" : "noise_%d_%d", level + 1, i + 1),
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
        for (const ShotForm form : plan.forms) {
            files.push_back(file_name(plan, shot.stem, form));
        }
    });
    return files;
}

ShotNames take_shots(const SimulationPlan& plan, const std::filesystem::path& folder) {
    check_forms(plan);
    return plan_shots(plan, [&](const Shot& shot) {
        const std::vector<uint16_t> samples = take(shot, plan.faults, plan.seed);
        for (const ShotForm form : plan.forms) {
            write_shot(folder / file_name(plan, shot.stem, form), shot, form, samples);
        }
    });
}

}  // namespace cali::host

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
constexpr double kExposureMs = 10;  // at gain 1

/// Random streams of the kinds of captures: a longer series leaves the other captures as they are, and so do more gains
/// and longer bursts.
enum Stream : uint32_t {
    kDarkStream = 0,
    kFlatStream = 1000,
    kGreyStream = 2000,
    kChartStream = 3000,
    kSeriesStream = 10000,
    kGainStreams = 1U << 18U,
    kBurstStreams = 1U << 24U
};

std::string file_name(const SimulationPlan& plan, const std::string& stem, ShotForm form) {
    const SensorModel& sensor = plan.sensor;
    const bool headerless = form == ShotForm::raw || form == ShotForm::mipi;
    const std::string geometry =
        headerless && plan.naming == ShotNaming::geometry
            ? text("_%dx%d_%dbits_%s", sensor.width, sensor.height, sensor.bits, pattern_text(sensor))
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
    content.mono = sensor.mono;
    content.gain = sensor.gain;
    content.exposure_ms = kExposureMs / sensor.gain;
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

std::vector<double> checked_gains(std::vector<double> gains, const std::string& where) {
    check_number(static_cast<int64_t>(gains.size()), 1, kMostSimulatedGains, where + ": the number of gains");
    std::ranges::sort(gains);
    for (const double gain : gains) {
        if (std::abs(gain * 100 - std::round(gain * 100)) > 1e-9) {
            throw InputError(where + text(" holds %g, expected whole hundredths: ISO speeds are whole", gain));
        }
    }
    if (const auto twin = std::ranges::adjacent_find(gains); twin != gains.end()) {
        throw InputError(where + text(" holds %g twice, expected gains that differ", *twin));
    }
    return gains;
}

namespace {

/// Goes through a plan in the session's order.
class ShotPlanner {
public:
    ShotPlanner(const SimulationPlan& plan, const std::function<void(const Shot&)>& on_shot)
        : plan_(plan), on_shot_(on_shot) {}

    ShotNames all() {
        const std::size_t gains = plan_.gains.size();
        for (std::size_t gain = 0; gain < gains; ++gain) {
            dark_frames(gain);
        }
        for (std::size_t gain = 0; gain < (plan_.all_at_every_gain ? gains : 1); ++gain) {
            for (std::size_t light = 0; light < plan_.illuminants.size(); ++light) {
                lit_captures(gain, light);
            }
        }
        for (std::size_t gain = 0; gain < gains; ++gain) {
            series(gain);
        }
        return std::move(names_);
    }

private:
    [[nodiscard]] bool tuning() const { return plan_.naming == ShotNaming::tuning; }

    [[nodiscard]] std::string gain_part(std::size_t gain) const {
        if (plan_.gains.size() == 1 || tuning()) {
            return "";
        }
        std::string part = text("_g%g", plan_.gains[gain]);
        std::ranges::replace(part, '.', 'p');  // a dot would end the part
        return part;
    }
    /// From 1; names that do not tell the gain count on from one gain to the next.
    [[nodiscard]] int number(std::size_t gain, int index, int count) const {
        return index + 1 + (tuning() ? static_cast<int>(gain) * count : 0);
    }

    std::string shoot(std::size_t gain, const std::string& stem, Shot shot, uint32_t stream) {
        shot.stem = stem;
        shot.sensor = plan_.sensor.at(plan_.gains[gain]);
        shot.stream = stream + static_cast<uint32_t>(gain) * kGainStreams;
        on_shot_(shot);
        return file_name(plan_, stem, plan_.forms.front());
    }

    void dark_frames(std::size_t gain) {
        for (int i = 0; i < plan_.dark_frames; ++i) {
            const std::string stem = "dark" + gain_part(gain) + text("_%d", number(gain, i, plan_.dark_frames));
            Shot shot;
            shot.frame = i;
            shot.scene = dark_scene();
            names_.dark.push_back(
                {{shoot(gain, stem, shot, kDarkStream + static_cast<uint32_t>(i))}, 0, plan_.gains[gain]});
        }
    }

    [[nodiscard]] std::string lit_stem(ShotKind kind, std::size_t gain, double kelvin, int frame) const {
        const long light = std::lround(kelvin);
        const int n = number(gain, frame, plan_.burst);
        if (!tuning()) {
            const char* const name = kind == ShotKind::flat ? "flat" : kind == ShotKind::grey ? "grey" : "chart";
            return name + text("_%ldK", light) + gain_part(gain) + (plan_.burst > 1 ? text("_%d", n) : "");
        }
        return kind == ShotKind::flat ? text("alsc_%ldk_%d", light, n)
                                      : (n == 1 ? "chart" : text("chart%d", n)) + text("_%ldk_120l", light);
    }

    void lit_captures(std::size_t gain, std::size_t light) {
        const double kelvin = plan_.illuminants[light];
        const auto take = [&](ShotKind kind, double level, const Scene& scene, uint32_t stream) {
            ShotNames::Entry entry{{}, kelvin, plan_.gains[gain]};
            for (int i = 0; i < plan_.burst; ++i) {
                Shot shot;
                shot.kind = kind;
                shot.illuminant_k = kelvin;
                shot.level = level;
                shot.frame = i;
                shot.scene = scene;
                if (kind == ShotKind::chart && plan_.chart_view) {
                    shot.view = plan_.chart_view;
                    shot.view->illuminant_k = kelvin;
                    shot.view->level = level;
                }
                entry.files.push_back(
                    shoot(gain, lit_stem(kind, gain, kelvin, i), std::move(shot),
                          stream + static_cast<uint32_t>(light) + static_cast<uint32_t>(i) * kBurstStreams));
            }
            return entry;
        };
        const SensorModel& sensor = plan_.sensor;
        names_.flat.push_back(take(ShotKind::flat, kFlatLevel, uniform_scene(sensor, kelvin, kFlatLevel), kFlatStream));
        if (!tuning()) {
            names_.grey.push_back(
                take(ShotKind::grey, kGreyLevel, uniform_scene(sensor, kelvin, kGreyLevel), kGreyStream));
        }
        names_.chart.push_back(take(ShotKind::chart, kSimulatedChartLevel,
                                    chart_scene(sensor, kelvin, kSimulatedChartLevel), kChartStream));
    }

    void series(std::size_t gain) {
        const int levels = plan_.series_levels;
        for (int level = 0; level < levels; ++level) {
            const double share = levels == 1 ? 1.0 : static_cast<double>(level) / (levels - 1);
            Shot shot;
            shot.kind = ShotKind::series;
            shot.illuminant_k = kSeriesIlluminantK;
            shot.level = kDarkestSeriesLevel + share * (kBrightestSeriesLevel - kDarkestSeriesLevel);
            shot.scene = uniform_scene(plan_.sensor, kSeriesIlluminantK, shot.level);
            shot.scene.shaded = false;
            ShotNames::Entry& entry = names_.series.emplace_back(ShotNames::Entry{{}, 0, plan_.gains[gain]});
            for (shot.frame = 0; shot.frame < plan_.series_frames; ++shot.frame) {
                const std::string stem = (plan_.naming == ShotNaming::plain ? "series" : "noise") +
                                         text("_%d", number(gain, level, levels)) + gain_part(gain) +
                                         text("_%d", shot.frame + 1);
                const auto stream = static_cast<uint32_t>(level) * 1000U + static_cast<uint32_t>(shot.frame);
                entry.files.push_back(shoot(gain, stem, shot, kSeriesStream + stream));
            }
        }
    }

    const SimulationPlan& plan_;
    const std::function<void(const Shot&)>& on_shot_;
    ShotNames names_;
};

}  // namespace

ShotNames plan_shots(const SimulationPlan& plan, const std::function<void(const Shot&)>& on_shot) {
    return ShotPlanner(plan, on_shot).all();
}

std::size_t ShotNames::count() const {
    std::size_t total = 0;
    for (const auto* const entries : {&dark, &flat, &grey, &chart, &series}) {
        for (const Entry& entry : *entries) {
            total += entry.files.size();
        }
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
            write_shot(folder / path_of(file_name(plan, shot.stem, form)), shot, form, samples);
        }
    });
}

}  // namespace cali::host

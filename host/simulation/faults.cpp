#include "simulation/faults.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <random>

#include "base/error.h"
#include "base/text.h"

namespace cali::host {
namespace {

struct FaultRecord {
    const char* name;
    double amount;  ///< where none is given
    double least;
    double most;
};

// In the order of FaultKind.
constexpr std::array kRecords = {
    FaultRecord{"light-leak", 100, 0, 4095},
    FaultRecord{"saturated-dark", 100, 0, 100},
    FaultRecord{"defects", 4000, 0, 1e6},
    FaultRecord{"column", 30, -4095, 4095},
    FaultRecord{"dark-drift", 6, -4095, 4095},
    FaultRecord{"tilt", 15, 0, 100},
    FaultRecord{"dust", 10, 0, 100},
    FaultRecord{"smear", 20, 0, 1000},
    FaultRecord{"flat-clipping", 2.5, 0, 1000},
    FaultRecord{"flat-dim", 0.03, 0, 1000},
    FaultRecord{"grey-clipping", 2.5, 0, 1000},
    FaultRecord{"grey-dim", 0.03, 0, 1000},
    FaultRecord{"grey-light", 5000, kMinIlluminantK, kMaxIlluminantK},
    FaultRecord{"grey-on-chart", 1, 0, 1},
    FaultRecord{"shading-by-light", 0.15, -1, 1},
    FaultRecord{"chart-clipping", 2.5, 0, 1000},
    FaultRecord{"chart-dim", 0.03, 0, 1000},
    FaultRecord{"chart-shift", 10, -100, 100},
    FaultRecord{"chart-mirrored", 1, 0, 1},
    FaultRecord{"wrong-light", 2850, kMinIlluminantK, kMaxIlluminantK},
    FaultRecord{"flicker", 1, 0, 100},
    FaultRecord{"series-clipping", 2, 0, 1000},
    FaultRecord{"burst-flicker", 5, 0, 100},
};
static_assert(kRecords.size() == static_cast<std::size_t>(FaultKind::burst_flicker) + 1);

constexpr double kLeakK = 5000;
constexpr double kSpotRadius = 0.015;  ///< of the width
constexpr double kStreakWidth = 0.02;

double squared(double value) { return value * value; }

void multiply_light(Scene& scene, const std::function<double(double, double)>& factor) {
    scene.light = scene.light
                      ? [before = scene.light, factor](double x, double y) { return before(x, y) * factor(x, y); }
                      : factor;
}

void expose_longer(Shot& shot, double factor) {
    for (Vector3& colour : shot.scene.colours) {
        for (double& component : colour) {
            component *= factor;
        }
    }
    if (shot.view) {
        shot.view->level *= factor;
    }
}

void spoil_dark(Shot& shot, const Fault& fault) {
    if (fault.kind == FaultKind::light_leak) {
        shot.scene = uniform_scene(shot.sensor, kLeakK, fault.amount / kLibraryFullScale);
        shot.scene.shaded = false;
        shot.scene.light = [](double x, double y) { return std::exp(-(x * x + y * y) / squared(0.4)); };
    } else if (fault.kind == FaultKind::dark_drift) {
        for (double& level : shot.sensor.pedestal) {
            level += fault.amount * shot.frame;
        }
    }
}

void spoil_flat(Shot& shot, const Fault& fault) {
    const double share = fault.amount / 100;
    const double shape = static_cast<double>(shot.sensor.height) / shot.sensor.width;
    switch (fault.kind) {
        case FaultKind::tilt: multiply_light(shot.scene, [=](double x, double) { return 1 - share * x; }); break;
        case FaultKind::dust:
            multiply_light(shot.scene, [=](double x, double y) {
                const double distance = std::hypot(x - 0.3, (y - 0.6) * shape) / kSpotRadius;
                return 1 - share * std::clamp(2 - 2 * distance, 0.0, 1.0);
            });
            break;
        case FaultKind::smear:
            multiply_light(shot.scene,
                           [=](double x, double) { return std::abs(x - 0.7) < kStreakWidth / 2 ? 1 + share : 1; });
            break;
        case FaultKind::flat_clipping:
        case FaultKind::flat_dim: expose_longer(shot, fault.amount); break;
        default: break;
    }
}

void change_shading(Shot& shot, const Fault& fault) {
    if (fault.kind == FaultKind::shading_by_light) {
        shot.sensor.falloff_k2[kRR] += fault.amount;
        shot.sensor.falloff_k2[kBB] -= fault.amount;
    }
}

void spoil_grey(Shot& shot, const Fault& fault) {
    if (fault.kind == FaultKind::grey_clipping || fault.kind == FaultKind::grey_dim) {
        expose_longer(shot, fault.amount);
    } else if (fault.kind == FaultKind::grey_light) {
        shot.scene.colours = uniform_scene(shot.sensor, fault.amount, shot.level).colours;
    } else if (fault.kind == FaultKind::grey_on_chart && fault.amount > 0) {
        shot.scene = chart_scene(shot.sensor, shot.illuminant_k, shot.level);
    }
    change_shading(shot, fault);
}

void spoil_chart(Shot& shot, const Fault& fault) {
    switch (fault.kind) {
        case FaultKind::chart_clipping:
        case FaultKind::chart_dim: expose_longer(shot, fault.amount); break;
        case FaultKind::chart_shift:
            shot.scene.seen = [by = fault.amount / 100](double x, double y) { return std::array{x - by, y}; };
            break;
        case FaultKind::chart_mirrored:
            if (fault.amount > 0) {
                shot.scene.seen = [](double x, double y) { return std::array{1 - x, y}; };
                if (shot.view) {
                    shot.view->mirrored = true;
                }
            }
            break;
        case FaultKind::wrong_light:
            shot.scene.colours = chart_scene(shot.sensor, fault.amount, shot.level).colours;
            if (shot.view) {
                shot.view->illuminant_k = fault.amount;
            }
            break;
        default: break;
    }
    change_shading(shot, fault);
}

void spoil_series(Shot& shot, const Fault& fault) {
    if (fault.kind == FaultKind::flicker && shot.frame % 2 == 1) {
        expose_longer(shot, 1 + fault.amount / 100);
    } else if (fault.kind == FaultKind::series_clipping) {
        expose_longer(shot, fault.amount);
    }
}

void spoil(Shot& shot, const Fault& fault) {
    switch (shot.kind) {
        case ShotKind::dark: spoil_dark(shot, fault); break;
        case ShotKind::flat: spoil_flat(shot, fault); break;
        case ShotKind::grey: spoil_grey(shot, fault); break;
        case ShotKind::chart: spoil_chart(shot, fault); break;
        case ShotKind::series: spoil_series(shot, fault); break;
    }
    const bool of_burst = shot.kind == ShotKind::flat || shot.kind == ShotKind::grey || shot.kind == ShotKind::chart;
    if (fault.kind == FaultKind::burst_flicker && of_burst && shot.frame == 1) {
        expose_longer(shot, 1 + fault.amount / 100);
    }
}

/// What a dark frame's readout does.
void spoil_samples(const Shot& shot, const Fault& fault, uint64_t seed, std::vector<uint16_t>& samples) {
    if (shot.kind != ShotKind::dark) {
        return;
    }
    const double to_file = std::ldexp(1.0, shot.sensor.bits - kLibraryBits);
    const double most = std::ldexp(1.0, shot.sensor.bits) - 1;
    const auto add = [&](uint16_t& sample, double codes) {
        sample = static_cast<uint16_t>(std::clamp(std::round(sample + codes * to_file), 0.0, most));
    };
    std::mt19937_64 random(seed);  // the sensor's, so that every frame has the same defects
    std::uniform_real_distribution<double> uniform;
    if (fault.kind == FaultKind::saturated_dark) {
        for (uint16_t& sample : samples) {
            sample = uniform(random) * 100 < fault.amount ? static_cast<uint16_t>(most) : sample;
        }
    } else if (fault.kind == FaultKind::defects) {
        for (uint16_t& sample : samples) {
            if (uniform(random) * 1e6 < fault.amount) {
                constexpr double kLeastHot = 100;
                constexpr double kMostHot = 3000;
                add(sample, kLeastHot + uniform(random) * (kMostHot - kLeastHot));
            }
        }
    } else if (fault.kind == FaultKind::column) {
        const auto width = static_cast<std::size_t>(shot.sensor.width);
        for (std::size_t i = width / 3; i < samples.size(); i += width) {
            add(samples[i], fault.amount);
        }
    }
}

}  // namespace

const char* fault_name(FaultKind kind) { return kRecords[static_cast<std::size_t>(kind)].name; }

Fault parse_fault(const std::string& text, const std::string& where) {
    const std::size_t equals = text.find('=');
    const std::string name = text.substr(0, equals);
    const auto record = std::ranges::find(kRecords, name, &FaultRecord::name);
    if (record == kRecords.end()) {
        std::string known;
        for (const FaultRecord& each : kRecords) {
            known += (known.empty() ? "" : ", ") + std::string(each.name);
        }
        throw InputError(where + " is '" + text + "', expected one of " + known);
    }
    Fault fault{static_cast<FaultKind>(record - kRecords.begin()), record->amount};
    if (equals != std::string::npos) {
        const char* const end = text.data() + text.size();
        const auto [rest, error] = std::from_chars(text.data() + equals + 1, end, fault.amount);
        if (error != std::errc() || rest != end || !(fault.amount >= record->least && fault.amount <= record->most)) {
            throw InputError(where + " is '" + text + "', expected " + name +
                             cali::host::text("=NUMBER from %g to %g", record->least, record->most));
        }
    }
    return fault;
}

std::vector<uint16_t> take(Shot shot, const std::vector<Fault>& faults, uint64_t seed) {
    for (const Fault& fault : faults) {
        spoil(shot, fault);
    }
    if (shot.view) {
        shot.scene = place_chart(shot.sensor, *shot.view).scene;
        shot.scene.shaded = true;
    }
    std::vector<uint16_t> samples = expose(shot.sensor, shot.scene, seed, shot.stream);
    for (const Fault& fault : faults) {
        spoil_samples(shot, fault, seed, samples);
    }
    return samples;
}

}  // namespace cali::host
